// The element numbers that volume keys name.
#include "sound/volume_key.h"

#include <gtest/gtest.h>

namespace orvel {
namespace {

TEST(VolumeKey, ReadsAnUnsigned32BitNumber) {
  const std::pair<const char*, std::optional<std::uint32_t>> cases[] = {
      {"0", 0},           {"16", 16},  {"+3", 3},
      {"03", 3},          {"-0", 0},   {"4294967295", UINT32_MAX},
      {"-3", {}},         {"", {}},    {"+", {}},
      {" 3", {}},         {"3 ", {}},  {"3.0", {}},
      {"4294967296", {}}, {"++3", {}}, {"99999999999999999999", {}},
  };
  for (const auto& [key, element] : cases) EXPECT_EQ(parseVolumeKey(key), element) << key;
}

}  // namespace
}  // namespace orvel
