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
  EXPECT_EQ(serverVolume(0), 0u);
  EXPECT_FALSE(serverVolume(-0.01));
  EXPECT_FALSE(serverVolume(1e9));
  EXPECT_FALSE(serverVolume(std::numeric_limits<double>::quiet_NaN()));
  for (const double v : {0.1, 0.3333, 0.77, 1.25})
    EXPECT_NEAR(volumeMap({*serverVolume(v)}).at("0"), v, 1e-4);
}

TEST(VolumesTest, WithElementSetsAllOrOneChannel) {
  EXPECT_EQ(withElement({1, 2, 3}, 0, 9), (std::vector<std::uint32_t>{9, 9, 9}));
  EXPECT_EQ(withElement({1, 2, 3}, 3, 9), (std::vector<std::uint32_t>{1, 2, 9}));
  EXPECT_FALSE(withElement({1, 2, 3}, 4, 9));
  EXPECT_FALSE(withElement({}, 0, 9));
}

}  // namespace
}  // namespace orvel
