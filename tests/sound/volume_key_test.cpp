// Volume keys against a plain reading of their grammar: an optional "+" or "-",
// ASCII digits, a value up to 4294967295 compared as digit text, and only zero
// after "-"; over random keys of digits, signs and strays.
#include "sound/volume_key.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace orvel {
namespace {

std::optional<std::uint32_t> referenceKey(std::string_view key) {
  const bool negative = key.starts_with('-');
  if (negative || key.starts_with('+')) key.remove_prefix(1);
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  if (key.empty() || !std::all_of(key.begin(), key.end(), isDigit)) return std::nullopt;
  key.remove_prefix(std::min(key.find_first_not_of('0'), key.size() - 1));  // keep one digit
  constexpr std::string_view largest = "4294967295";
  if (key.size() > largest.size() || (key.size() == largest.size() && key > largest)) {
    return std::nullopt;
  }
  if (negative && key != "0") return std::nullopt;
  std::uint32_t value = 0;
  for (const char c : key) value = value * 10 + static_cast<std::uint32_t>(c - '0');
  return value;
}

TEST(VolumeKey, ReadsAnUnsigned32BitNumberAndNothingElse) {
  std::mt19937 random(5);
  const std::string symbols = "0123456789000+-4294967295 .x";
  for (int i = 0; i < 200000; ++i) {
    std::string key(random() % 14, ' ');
    for (char& c : key) c = symbols[random() % symbols.size()];
    ASSERT_EQ(parseVolumeKey(key), referenceKey(key)) << key;
  }
  EXPECT_EQ(parseVolumeKey("4294967295"), UINT32_MAX);
  EXPECT_EQ(parseVolumeKey("4294967296"), std::nullopt);
}

}  // namespace
}  // namespace orvel
