#include "engine/matching.h"

#include <gtest/gtest.h>

namespace orvel {
namespace {

Side at(double rate) {
  return {.uid = "spk", .rate = rate};
}
Side vol(VolumeMap volume) {
  return {.uid = "spk", .volume = std::move(volume)};
}
Side layout(const char* text) {
  return {.uid = "spk", .layout = text};
}
const Side bare{.uid = "spk", .name = "Desk"};  // names are never compared

TEST(Matches, ComparesWithinTheTolerances) {
  const std::tuple<const char*, std::optional<Side>, std::optional<Side>, bool> cases[] = {
      {"nothing wanted, nothing held", std::nullopt, std::nullopt, true},
      {"nothing held", std::nullopt, bare, false},
      {"other device", Side{.uid = "usb"}, bare, false},
      {"rate 0.5 off", at(47999.5), at(48000), true},
      {"rate beyond 0.5 below", at(47999.49), at(48000), false},
      {"missing rate counts as 0", bare, at(0.5), true},
      {"missing rate is no 0.6", bare, at(0.6), false},
      {"volume 0.001 off", vol({{"0", 0.001}}), vol({{"0", 0}}), true},
      {"volume 0.002 below", vol({{"0", 0.498}}), vol({{"0", 0.5}}), false},
      {"missing volumes count as -1", bare, vol({{"0", 0}}), false},
      {"a missing key counts as -1, not 0", vol({{"1", 0.5}}), vol({{"0", 0}}), false},
      {"extra held keys are ignored", vol({{"0", 0.5}, {"1", 0}}), vol({{"0", 0.5}}), true},
      {"layout wanted, none held", bare, layout("AAA="), false},  // or another one
      {"no layout wanted, and another name", layout("BBB="), bare, true},
  };
  for (const auto& [what, held, wanted, expected] : cases) {
    EXPECT_EQ(matches(held, wanted), expected) << what;
  }
}

}  // namespace
}  // namespace orvel
