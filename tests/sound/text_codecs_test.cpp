#include <gtest/gtest.h>

#include <random>

#include "sound/base64.h"
#include "sound/volume_key.h"

namespace orvel {
namespace {

TEST(Base64, DecodesOnlyStrictText) {
  using Bytes = std::vector<std::uint8_t>;
  EXPECT_EQ(base64Decode(""), Bytes{});
  EXPECT_EQ(base64Decode("AAAA"), (Bytes{0, 0, 0}));
  EXPECT_EQ(base64Decode("/w=="), Bytes{0xff});
  EXPECT_EQ(base64Decode("AgBl+/8="), (Bytes{2, 0, 0x65, 0xfb, 0xff}));
  for (const char* bad : {"AAA", "AA AA", "AAAA\n", "A===", "====", "AA=A", "=AAA", "AA==AAAA",
                          "AA-_", "AAA\0"}) {
    EXPECT_FALSE(base64Decode(bad)) << bad;
  }
}

TEST(Base64, RoundTripsRandomBytes) {
  std::mt19937 random(7);
  for (int round = 0; round < 300; ++round) {
    std::vector<std::uint8_t> bytes(random() % 40);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    const std::string text = base64Encode(bytes);
    EXPECT_EQ(text.size() % 4, 0u);
    EXPECT_EQ(base64Decode(text), bytes);
  }
}

TEST(VolumeKey, ReadsElementNumbers) {
  const std::pair<const char*, std::optional<std::uint32_t>> cases[] = {
      {"0", 0},          {"16", 16},         {"+2", 2},          {"-0", 0},          {"03", 3},
      {"4294967295", 4294967295u},           {"-1", std::nullopt}, {"", std::nullopt},
      {" 1", std::nullopt}, {"1 ", std::nullopt}, {"1.0", std::nullopt}, {"x", std::nullopt},
      {"+", std::nullopt},  {"+-1", std::nullopt}, {"4294967296", std::nullopt},
      {"99999999999999999999999", std::nullopt}};
  for (const auto& [key, element] : cases) EXPECT_EQ(parseVolumeKey(key), element) << key;
}

}  // namespace
}  // namespace orvel
