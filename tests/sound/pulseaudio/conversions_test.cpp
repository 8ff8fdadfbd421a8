// The PulseAudio backend's conversions, without a server.
#include "sound/pulseaudio/conversions.h"

#include <gtest/gtest.h>

#include <limits>

#include <pulse/volume.h>

namespace orvel::pulse {
namespace {

using Channels = std::vector<std::uint32_t>;

TEST(Volumes, OneMainControlOnlyWhenAllChannelsAgree) {
  EXPECT_EQ(volumeMap({PA_VOLUME_NORM / 2, PA_VOLUME_NORM / 2}), (VolumeMap{{"0", 0.5}}));
  EXPECT_EQ(volumeMap({PA_VOLUME_NORM, PA_VOLUME_NORM * 3 / 2}),  // amplified: told as it is
            (VolumeMap{{"1", 1.0}, {"2", 1.5}}));
  EXPECT_EQ(volumeMap(Channels(20, 0)), (VolumeMap{{"0", 0.0}}));
  Channels twenty(20, PA_VOLUME_NORM);
  twenty[19] = 0;
  EXPECT_EQ(volumeMap(twenty).size(), 16u);
  EXPECT_TRUE(volumeMap({}).empty());
}

// Every raw volume read comes back exactly when set again; nothing goes past
// the normal volume.
TEST(Volumes, RawVolumesRoundTripAndNeverAmplify) {
  for (std::uint32_t raw = 0; raw <= PA_VOLUME_NORM; ++raw) {
    ASSERT_EQ(serverVolume(volumeMap({raw}).at("0")), raw);
  }
  constexpr double infinity = std::numeric_limits<double>::infinity();
  for (const double beyond : {1.0001, 1e300, infinity}) {
    EXPECT_EQ(serverVolume(beyond), PA_VOLUME_NORM);
  }
  for (const double below : {-0.5, -infinity, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(serverVolume(below), 0u);
  }
}

TEST(DeviceRecords, SinksThenNewSourcesWithoutMonitors) {
  const DeviceInfo speakers{.name = "spk", .description = "Speakers", .channels = 2, .rate = 48000};
  const DeviceInfo headset{.name = "usb", .channels = 2, .rate = 44100};
  const DeviceInfo monitor{.name = "spk.monitor", .channels = 2, .monitor = true};
  const DeviceInfo mic{.name = "mic", .channels = 1};
  const DeviceInfo headsetMic{.name = "usb", .channels = 1, .rate = 16000};
  EXPECT_EQ(deviceRecords({speakers, headset}, {monitor, mic, headsetMic}),
            (std::vector<DeviceRecord>{{"spk", "Speakers", 2, 0, 48000, {48000}},
                                       {"usb", "", 2, 1, 44100, {44100}},  // one device
                                       {"mic", "", 0, 1, 0, {}}}));
}

}  // namespace
}  // namespace orvel::pulse
