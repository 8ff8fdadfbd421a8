// The device list and its records.
#include "sound/coreaudio/sample_machine.h"

namespace orvel {
namespace {

using sim::Fault;

TEST_F(CoreAudioTest, DevicesRecordEveryDeviceAndFallBackPerValue) {
  device("usb-uid").name = "🎧 Casque";  // characters of two UTF-16 units
  EXPECT_EQ(audio.devices(),
            (std::vector<DeviceRecord>{
                {"speakers-uid", "Speakers", 2, 0, 44100, {44100, 48000, 88200, 96000}},
                {"usb-uid", "🎧 Casque", 4, 2, 48000, {44100, 48000}},
                {"mic-uid", "Micro de Zoé", 0, 1, 48000, {48000}},
            }));
  device("speakers-uid").faults["uid"] = Fault::unreadable;  // left out, the others keep order
  device("usb-uid").faults["name"] = Fault::unreadable;
  device("usb-uid").rate.reset();
  device("usb-uid").faults["output"] = Fault::unreadable;
  device("mic-uid").faults["rate"] = Fault::unreadable;
  device("mic-uid").rateRanges.reset();
  EXPECT_EQ(audio.devices(), (std::vector<DeviceRecord>{
                                 {"usb-uid", "", 0, 2, 0, {44100, 48000}},
                                 {"mic-uid", "Micro de Zoé", 0, 1, 0, {}},
                             }));
  machine.faults["devices"] = Fault::unreadable;
  EXPECT_TRUE(audio.devices().empty());
}

TEST_F(CoreAudioTest, RatesListRangesInTheirOrder) {
  const std::pair<std::vector<AudioValueRange>, std::vector<double>> cases[] = {
      {{{8000, 192000}}, {8000, 192000}},
      {{{48000, 48000}, {48000, 48000}}, {48000, 48000}},
      {{{96000, 96000}, {44100, 48000}}, {96000, 44100, 48000}},
      {{}, {}},
  };
  for (const auto& [ranges, rates] : cases) {
    device("mic-uid").rateRanges = ranges;
    EXPECT_EQ(audio.rates(4), rates);
  }
}

}  // namespace
}  // namespace orvel
