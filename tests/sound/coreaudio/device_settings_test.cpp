// Call counts, layout text, volume controls and volume keys of one device.
#include "sound/coreaudio/sample_machine.h"

namespace orvel {
namespace {

using sim::Fault;
using sim::Function;

TEST_F(CoreAudioTest, PropertiesAreReadWithTheFewestCalls) {
  EXPECT_EQ(audio.rate("speakers-uid"), 44100);  // fixed size: translation, has, one read
  EXPECT_EQ(machine.calls.size(), 3u);
  machine.calls.clear();
  EXPECT_EQ(audio.layout("speakers-uid"), stereoLayout);  // variable: and a size read first
  EXPECT_EQ(machine.count(Function::getPropertyDataSize), 1u);
  EXPECT_EQ(machine.calls.size(), 4u);

  machine.devices.pop_back();  // two devices that have every property
  machine.calls.clear();
  audio.devices();
  EXPECT_EQ(machine.count(Function::getPropertyDataSize, kAudioHardwarePropertyDevices), 1u);
  EXPECT_EQ(machine.count(Function::getPropertyData, kAudioHardwarePropertyDevices), 1u);
  const struct {
    Function function;
    AudioObjectPropertySelector selector;
    std::size_t perDevice;
  } expected[] = {
      {Function::getPropertyData, kAudioDevicePropertyDeviceUID, 1},
      {Function::getPropertyData, kAudioObjectPropertyName, 1},
      {Function::getPropertyDataSize, kAudioDevicePropertyStreamConfiguration, 2},
      {Function::getPropertyData, kAudioDevicePropertyStreamConfiguration, 2},
      {Function::hasProperty, kAudioDevicePropertyNominalSampleRate, 1},
      {Function::getPropertyData, kAudioDevicePropertyNominalSampleRate, 1},
      {Function::getPropertyDataSize, kAudioDevicePropertyAvailableNominalSampleRates, 1},
      {Function::getPropertyData, kAudioDevicePropertyAvailableNominalSampleRates, 1},
  };
  for (const auto& e : expected) EXPECT_EQ(machine.count(e.function, e.selector), 2 * e.perDevice);
  EXPECT_EQ(machine.calls.size(), 2 + 2 * 10u);
}

TEST_F(CoreAudioTest, SetLayoutTakesOnlyStrictBase64) {
  for (const std::string text : {"", " ", "AgBl AAAAAAAAAAA", "AgBlAAAAAAAAAAAA\n",
                                 "AgBlAAAAAAAAAA*A", "AgBlAAAAAAAAAAA", "AgBlAAAAAAAAAA=A"}) {
    EXPECT_FALSE(audio.setLayout("usb-uid", text)) << '"' << text << '"';
  }
  EXPECT_EQ(machine.count(Function::hasProperty), 0u);
  EXPECT_EQ(device("usb-uid").layout, bytesOf(stereoTagLayout));
  EXPECT_TRUE(audio.setLayout("usb-uid", *audio.layout("speakers-uid")));  // "/" included
  EXPECT_EQ(device("usb-uid").layout, bytesOf(stereoLayout));
}

TEST_F(CoreAudioTest, VolumeMapFollowsTheControls) {
  auto channelsOnly = [](std::vector<UInt32> buffers, UInt32 controls) {
    sim::Machine m = sampleMachine();
    m.find(3)->output = std::move(buffers);
    m.find(3)->volume.clear();
    for (UInt32 element = 1; element <= controls; ++element) m.find(3)->volume[element] = 0.5f;
    return m;
  };
  EXPECT_EQ(audio.volume("speakers-uid"), (VolumeMap{{"0", 0.5}}));  // the main control wins
  EXPECT_EQ(machine.count(Function::hasProperty, kAudioDevicePropertyVolumeScalar), 1u);
  EXPECT_EQ(audio.volume("usb-uid"), (VolumeMap{{"1", double{0.1f}}, {"2", double{0.2f}}}));
  EXPECT_TRUE(audio.volume("mic-uid").empty());

  machine = channelsOnly({}, 1);  // no channels: element 1 is still tried
  EXPECT_EQ(audio.volume("usb-uid"), (VolumeMap{{"1", 0.5}}));
  machine = channelsOnly({24}, 24);  // at most 16 channels
  EXPECT_EQ(audio.volume("usb-uid").size(), 16u);
  EXPECT_EQ(machine.count(Function::hasProperty, kAudioDevicePropertyVolumeScalar), 17u);
  machine = channelsOnly({2, 1}, 3);
  device("usb-uid").faults["volume.2"] = Fault::unreadable;  // left out, the walk goes on
  EXPECT_EQ(audio.volume("usb-uid"), (VolumeMap{{"1", 0.5}, {"3", 0.5}}));
}

TEST_F(CoreAudioTest, SetVolumeReadsTheKeyStrictly) {
  device("speakers-uid").volume[3] = 0;
  const std::pair<std::string, AudioObjectPropertyElement> good[] = {
      {"+2", 2}, {"-0", 0}, {"03", 3}, {"1", 1}};
  for (const auto& [key, element] : good) {
    EXPECT_TRUE(audio.setVolume("speakers-uid", key, 1.5)) << key;  // not clamped
    EXPECT_EQ(device("speakers-uid").volume[element], 1.5f) << key;
  }
  machine.calls.clear();
  for (const std::string key : {"-1", "", " 1", "1 ", "1.0", "x", "+", "-", "+-1", "4294967296"}) {
    EXPECT_FALSE(audio.setVolume("speakers-uid", key, 0.5)) << '"' << key << '"';
  }
  EXPECT_EQ(machine.count(Function::getPropertyData), 10u);  // the translations, nothing more
  EXPECT_EQ(machine.calls.size(), 10u);
  EXPECT_FALSE(audio.setVolume("speakers-uid", "7", 0.5));  // no control on element 7
  EXPECT_FALSE(audio.setVolume("speakers-uid", "4294967295", 0.5));
  EXPECT_EQ(machine.count(Function::setPropertyData), 0u);
}

}  // namespace
}  // namespace orvel
