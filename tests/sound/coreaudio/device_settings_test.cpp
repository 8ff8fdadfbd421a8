// Nominal rate, preferred layout and volume controls of one device.
#include "sound/coreaudio/sample_machine.h"

namespace orvel {
namespace {

using sim::Fault;
using sim::Function;

TEST_F(CoreAudioTest, RateIsReadWhenThere) {
  EXPECT_EQ(audio.rate("speakers-uid"), 44100);
  EXPECT_EQ(machine.calls.size(), 3u);  // translation, has-property, one read
  device("usb-uid").rate.reset();
  device("mic-uid").faults["rate"] = Fault::unreadable;
  EXPECT_EQ(audio.rate("usb-uid"), std::nullopt);
  EXPECT_EQ(audio.rate("mic-uid"), std::nullopt);
}

TEST_F(CoreAudioTest, SetRateHandsEveryRateToTheDevice) {
  struct Case {
    double hz;
    std::optional<Fault> fault;
    bool taken;
    std::size_t setCalls;
  };
  const Case cases[] = {
      {48000, std::nullopt, true, 1},
      {92000.5, std::nullopt, true, 1},  // inside the range 88200 to 96000
      {50000, std::nullopt, false, 1},   // not offered: the device refuses it
      {48000, Fault::refused, false, 1},
      {48000, Fault::fixed, false, 0},
      {48000, Fault::missing, false, 0},
  };
  for (const Case& c : cases) {
    machine = sampleMachine();
    if (c.fault) device("speakers-uid").faults["rate"] = *c.fault;
    EXPECT_EQ(audio.setRate("speakers-uid", c.hz), c.taken) << c.hz;
    EXPECT_EQ(*device("speakers-uid").rate, c.taken ? c.hz : 44100);
    EXPECT_EQ(count(Function::setPropertyData), c.setCalls);
  }
}

TEST_F(CoreAudioTest, LayoutIsTheBase64OfTheBytes) {
  EXPECT_EQ(audio.layout("speakers-uid"), stereoLayout);
  EXPECT_EQ(count(Function::getPropertyDataSize), 1u);
  EXPECT_EQ(count(Function::getPropertyData), 2u);  // translation and the layout
  device("usb-uid").layout->clear();
  device("mic-uid").faults["layout"] = Fault::unreadable;
  EXPECT_EQ(audio.layout("usb-uid"), std::nullopt);
  EXPECT_EQ(audio.layout("mic-uid"), std::nullopt);
  device("mic-uid").layout.reset();
  EXPECT_EQ(audio.layout("mic-uid"), std::nullopt);
}

TEST_F(CoreAudioTest, SetLayoutWritesBackTheSameBytes) {
  EXPECT_TRUE(audio.setLayout("usb-uid", *audio.layout("speakers-uid")));
  EXPECT_EQ(device("usb-uid").layout, bytesOf(stereoLayout));
  EXPECT_TRUE(audio.setLayout("speakers-uid", *audio.layout("speakers-uid")));
  EXPECT_EQ(device("speakers-uid").layout, bytesOf(stereoLayout));
}

TEST_F(CoreAudioTest, SetLayoutRefusesStrictlyWithoutChange) {
  for (const std::string text : {"", " ", "AgBl AAAAAAAAAAA", "AgBlAAAAAAAAAAAA\n",
                                 "AgBlAAAAAAAAAA*A", "AgBlAAAAAAAAAAA", "AgBlAAAAAAAAAA=A"}) {
    EXPECT_FALSE(audio.setLayout("usb-uid", text)) << '"' << text << '"';
  }
  EXPECT_EQ(count(Function::hasProperty), 0u);
  for (const Fault fault : {Fault::missing, Fault::fixed, Fault::refused}) {
    device("usb-uid").faults["layout"] = fault;
    EXPECT_FALSE(audio.setLayout("usb-uid", stereoLayout));
  }
  EXPECT_EQ(count(Function::setPropertyData), 1u);  // only the refused one got that far
  EXPECT_EQ(device("usb-uid").layout, bytesOf(stereoTagLayout));
}

TEST_F(CoreAudioTest, VolumeMapFollowsTheControls) {
  auto channelsOnly = [](std::vector<UInt32> buffers, UInt32 controls) {
    sim::Machine m = sampleMachine();
    m.find(3)->output = std::move(buffers);
    m.find(3)->volume.clear();
    for (UInt32 element = 1; element <= controls; ++element) m.find(3)->volume[element] = 0.5f;
    return m;
  };
  auto keys = [](const VolumeMap& map) {
    std::vector<std::string> names;
    for (const auto& [key, value] : map) names.push_back(key);
    return names;
  };
  EXPECT_EQ(audio.volume("speakers-uid"), (VolumeMap{{"0", 0.5}}));  // the main control wins
  EXPECT_EQ(count(Function::hasProperty, kAudioDevicePropertyVolumeScalar), 1u);
  EXPECT_EQ(audio.volume("usb-uid"), (VolumeMap{{"1", double{0.1f}}, {"2", double{0.2f}}}));
  EXPECT_TRUE(audio.volume("mic-uid").empty());

  machine = channelsOnly({}, 1);  // no channels: element 1 is still tried
  EXPECT_EQ(keys(audio.volume("usb-uid")), std::vector<std::string>{"1"});
  machine = channelsOnly({24}, 24);  // at most 16 channels
  EXPECT_EQ(audio.volume("usb-uid").size(), 16u);
  EXPECT_EQ(count(Function::hasProperty, kAudioDevicePropertyVolumeScalar), 17u);
  machine = channelsOnly({2, 1}, 3);
  device("usb-uid").faults["volume.2"] = Fault::unreadable;  // left out, the walk goes on
  EXPECT_EQ(keys(audio.volume("usb-uid")), (std::vector<std::string>{"1", "3"}));
}

TEST_F(CoreAudioTest, SetVolumeReadsTheKeyStrictly) {
  struct Case {
    std::string key;
    AudioObjectPropertyElement element;
  };
  device("speakers-uid").volume[3] = 0;
  for (const Case& c : {Case{"+2", 2}, Case{"-0", 0}, Case{"03", 3}, Case{"1", 1}}) {
    EXPECT_TRUE(audio.setVolume("speakers-uid", c.key, 0.125)) << c.key;
    EXPECT_EQ(device("speakers-uid").volume[c.element], 0.125f) << c.key;
  }
  machine.calls.clear();
  for (const std::string key : {"-1", "", " 1", "1 ", "1.0", "x", "+", "-", "+-1", "4294967296"}) {
    EXPECT_FALSE(audio.setVolume("speakers-uid", key, 0.5)) << '"' << key << '"';
  }
  EXPECT_EQ(count(Function::getPropertyData), 10u);  // the translations, nothing more
  EXPECT_EQ(machine.calls.size(), 10u);
}

TEST_F(CoreAudioTest, SetVolumeHandsTheValueOverUnclamped) {
  EXPECT_TRUE(audio.setVolume("usb-uid", "2", 1.5));
  EXPECT_EQ(device("usb-uid").volume[2], 1.5f);
  EXPECT_FALSE(audio.setVolume("usb-uid", "7", 0.5));  // no control on element 7
  EXPECT_FALSE(audio.setVolume("usb-uid", "4294967295", 0.5));
  device("usb-uid").faults["volume"] = Fault::fixed;
  EXPECT_FALSE(audio.setVolume("usb-uid", "1", 0.5));
  device("usb-uid").faults["volume"] = Fault::refused;
  EXPECT_FALSE(audio.setVolume("usb-uid", "1", 0.5));
  EXPECT_EQ(count(Function::setPropertyData), 2u);
  EXPECT_EQ(device("usb-uid").volume[1], 0.1f);
}

}  // namespace
}  // namespace orvel
