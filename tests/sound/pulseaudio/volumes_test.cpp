// The pure volume helpers: the map rules and what a server volume can hold.
#include "sound/pulseaudio/volumes.h"

#include <gtest/gtest.h>

namespace orvel {
namespace {

constexpr std::uint32_t norm = 0x10000;

TEST(VolumesTest, MapHoldsTheMainControlOrAtMostSixteenChannels) {
  EXPECT_EQ(volumeMap({norm / 2, norm / 2}), (VolumeMap{{"0", 0.5}}));
  EXPECT_EQ(volumeMap({norm * 2}), (VolumeMap{{"0", 2.0}}));
  EXPECT_EQ(volumeMap({norm, norm / 4}), (VolumeMap{{"1", 1.0}, {"2", 0.25}}));
  std::vector<std::uint32_t> many(24, norm);
  many[20] = 0;
  EXPECT_EQ(volumeMap(many).size(), 16u);
  EXPECT_TRUE(volumeMap({}).empty());
}

TEST(VolumesTest, ServerVolumeRoundsAndRefusesWhatItCantHold) {
  EXPECT_EQ(serverVolume(0.5), norm / 2);
  EXPECT_FALSE(serverVolume(-0.01));
  EXPECT_FALSE(serverVolume(1e9));
  EXPECT_FALSE(serverVolume(std::numeric_limits<double>::quiet_NaN()));
}

}  // namespace
}  // namespace orvel
