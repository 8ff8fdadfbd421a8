// The numbers in messages are those that std::to_chars gave before it had to go
// (macOS lacks it for doubles before 13.3): the shortest text that reads back,
// fixed from 0.0001 up to 2^53, exponent form outside; whole hertz exactly.
#include "settings/number_text.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>

namespace orvel {
namespace {

std::string chars(double value, std::chars_format format) {
  char text[400];
  return std::string(text, std::to_chars(text, text + sizeof text, value, format).ptr);
}

std::string decimalBefore(double value) {
  const double size = std::fabs(value);
  const bool plain = size == 0 || (size >= 1e-4 && size < 0x1p53);
  std::string text = chars(value, plain ? std::chars_format::fixed : std::chars_format::general);
  return text.find_first_of(".en") == std::string::npos ? text + ".0" : text;
}

TEST(NumberText, WritesWhatToCharsWrote) {
  std::mt19937_64 random(17);
  std::vector<double> values = {0.0,         -0.0,   1e-4,   9.999e-5,      0x1p53,
                                -0x1p53 + 1, 1e16,   7999.5, -44100,        96000000,
                                1e300,       5e-324, 0x1p63, -0x1p63 - 2048};
  for (int i = 0; i < 8000; ++i) {
    const std::uint64_t bits = random();
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    if (std::isfinite(value)) values.push_back(value);
    // Just above a power of two the doubles below lie closer than those above:
    // the shortest text is then not always the nearest one of its length.
    const double power = std::ldexp(1.0, static_cast<int>(random() % 2098) - 1074);
    values.insert(values.end(), {power, std::nextafter(power, 0.0), -power});
    values.push_back(static_cast<double>(random() % 100000000) / std::pow(10, random() % 12));
  }
  for (const double value : values) {
    ASSERT_EQ(decimalText(value), decimalBefore(value)) << std::hexfloat << value;
    const double whole = std::trunc(value);
    ASSERT_EQ(wholeText(value), std::fabs(whole) < 0x1p63
                                    ? std::to_string(static_cast<std::int64_t>(whole))
                                    : chars(whole, std::chars_format::fixed))
        << std::hexfloat << value;
  }
}

}  // namespace
}  // namespace orvel
