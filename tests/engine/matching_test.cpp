#include "engine/matching.h"

#include <gtest/gtest.h>

namespace orvel {
namespace {

struct Case {
  const char* what;
  std::optional<Side> current;
  std::optional<Side> wanted;
  bool expected;
};

Side at(double rate) {
  return {.uid = "spk", .rate = rate};
}
Side withVolume(VolumeMap volume) {
  return {.uid = "spk", .volume = std::move(volume)};
}
Side withLayout(std::optional<std::string> layout) {
  return {.uid = "spk", .layout = layout};
}
const Side bare{.uid = "spk"};

TEST(Matches, ComparesWithinTheTolerances) {
  const Case cases[] = {
      {"nothing wanted, nothing held", std::nullopt, std::nullopt, true},
      {"nothing wanted", bare, std::nullopt, true},
      {"nothing held", std::nullopt, bare, false},
      {"other device", Side{.uid = "usb"}, bare, false},
      {"names are not compared", Side{"spk", "A"}, Side{"spk", "B"}, true},
      {"rate 0.5 below", at(47999.5), at(48000), true},
      {"rate 0.5 above", at(48000.5), at(48000), true},
      {"rate beyond 0.5", at(48000.51), at(48000), false},
      {"missing rate counts as 0", bare, at(0.5), true},
      {"missing rate is no 0.6", bare, at(0.6), false},
      {"volume 0.001 off", withVolume({{"0", 0.001}}), withVolume({{"0", 0}}), true},
      {"volume 0.0005 off", withVolume({{"0", 0.5005}}), withVolume({{"0", 0.5}}), true},
      {"volume 0.002 off", withVolume({{"0", 0.502}}), withVolume({{"0", 0.5}}), false},
      {"main key not among channels", withVolume({{"1", 0.5}, {"2", 0.5}}),
       withVolume({{"0", 0.5}}), false},
      {"missing key counts as -1", withVolume({}), withVolume({{"3", -1}}), true},
      {"missing map counts as -1", bare, withVolume({{"0", 0}}), false},
      {"extra held keys are ignored", withVolume({{"0", 0.5}, {"1", 0}}), withVolume({{"0", 0.5}}),
       true},
      {"layout wanted, none held", bare, withLayout("AAA="), false},
      {"other layout", withLayout("BBB="), withLayout("AAA="), false},
      {"no layout wanted", withLayout("BBB="), bare, true},
  };
  for (const Case& c : cases) EXPECT_EQ(matches(c.current, c.wanted), c.expected) << c.what;
}

}  // namespace
}  // namespace orvel
