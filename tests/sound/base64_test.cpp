// Strict base64 against a plain reading of the strict form, over random texts
// of the alphabet, "=" and a few strays, and random bytes.
#include "sound/base64.h"

#include <gtest/gtest.h>

#include <random>

namespace orvel {
namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The byte count that strict text stands for, or -1 when the text isn't strict:
// whole groups of four alphabet symbols, the last one ending in at most two "=".
long strictByteCount(std::string_view text) {
  if (text.size() % 4 != 0) return -1;
  const std::size_t symbols = text.find_last_not_of('=') + 1;  // 0 when all are "="
  const std::size_t padding = text.size() - symbols;
  if (padding > 2) return -1;
  if (text.substr(0, symbols).find_first_not_of(alphabet) != std::string_view::npos) return -1;
  return static_cast<long>(text.size() / 4 * 3 - padding);
}

TEST(Base64, DecodesExactlyTheStrictFormAndRoundTrips) {
  std::mt19937 random(3);
  using namespace std::string_literals;
  const std::string symbols = std::string(alphabet) + "==== -_\n\0\xff"s;
  for (int i = 0; i < 200000; ++i) {
    std::string text(random() % 13, ' ');
    for (char& c : text) c = symbols[random() % symbols.size()];
    const auto decoded = base64Decode(text);
    ASSERT_EQ(decoded ? static_cast<long>(decoded->size()) : -1, strictByteCount(text)) << text;
    if (decoded) {
      ASSERT_EQ(base64Decode(base64Encode(*decoded)), decoded) << text;
    }
    const std::vector<std::uint8_t> bytes(text.begin(), text.end());
    ASSERT_EQ(base64Decode(base64Encode(bytes)), bytes) << text;
  }
}

}  // namespace
}  // namespace orvel
