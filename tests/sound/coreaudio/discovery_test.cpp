// The device list and its records.
#include "sound/coreaudio/sample_machine.h"

namespace orvel {
namespace {

using sim::Fault;
using sim::Function;

TEST_F(CoreAudioTest, DevicesRecordsEveryDeviceInListOrder) {
  const std::vector<DeviceRecord> expected = {
      {"speakers-uid", "Speakers", 2, 0, 44100, {44100, 48000, 88200, 96000}},
      {"usb-uid", "USB Interface", 4, 2, 48000, {44100, 48000}},
      {"mic-uid", "Micro de Zoé", 0, 1, 48000, {48000}},
  };
  EXPECT_EQ(audio.devices(), expected);
}

TEST_F(CoreAudioTest, DevicesReadsEachPropertyWithTheFewestCalls) {
  machine.devices.pop_back();  // two devices that have every property
  audio.devices();
  EXPECT_EQ(count(Function::getPropertyDataSize, kAudioHardwarePropertyDevices), 1u);
  EXPECT_EQ(count(Function::getPropertyData, kAudioHardwarePropertyDevices), 1u);
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
  for (const auto& e : expected) EXPECT_EQ(count(e.function, e.selector), 2 * e.perDevice);
  EXPECT_EQ(machine.calls.size(), 2 + 2 * 10u);
}

TEST_F(CoreAudioTest, DevicesFallBackPerValue) {
  device("speakers-uid").faults["uid"] = Fault::unreadable;  // left out, the others keep order
  device("usb-uid").faults["name"] = Fault::unreadable;
  device("usb-uid").rate.reset();
  device("usb-uid").faults["output"] = Fault::unreadable;
  device("mic-uid").faults["rate"] = Fault::unreadable;
  device("mic-uid").rateRanges.reset();
  const std::vector<DeviceRecord> expected = {
      {"usb-uid", "", 0, 2, 0, {44100, 48000}},
      {"mic-uid", "Micro de Zoé", 0, 1, 0, {}},
  };
  EXPECT_EQ(audio.devices(), expected);
  machine.find(3)->uid.reset();
  EXPECT_EQ(audio.devices().front().uid, "mic-uid");
}

TEST_F(CoreAudioTest, RatesListRangesInTheirOrder) {
  struct Case {
    std::vector<AudioValueRange> ranges;
    std::vector<double> rates;
  };
  const Case cases[] = {
      {{{44100, 44100}, {48000, 48000}}, {44100, 48000}},
      {{{8000, 192000}}, {8000, 192000}},
      {{{48000, 48000}, {48000, 48000}}, {48000, 48000}},
      {{{96000, 96000}, {44100, 48000}}, {96000, 44100, 48000}},
      {{}, {}},
  };
  for (const Case& c : cases) {
    device("mic-uid").rateRanges = c.ranges;
    EXPECT_EQ(audio.rates(4), c.rates);
  }
  device("mic-uid").faults["rateRanges"] = Fault::unreadable;
  EXPECT_TRUE(audio.rates(4).empty());
}

TEST_F(CoreAudioTest, NoDeviceListGivesNoDevices) {
  machine.faults["devices"] = Fault::unreadable;
  EXPECT_TRUE(audio.devices().empty());
  machine = sim::Machine{};
  EXPECT_TRUE(audio.devices().empty());
}

}  // namespace
}  // namespace orvel
