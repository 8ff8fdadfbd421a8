#include "settings/number_text.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace orvel {
namespace {

// A decimal number as d.ddd × 10^exponent: its significant digits, without
// trailing zeros, and the power of ten of the first one.
struct Decimal {
  bool negative = false;
  std::string digits;
  int exponent = 0;
};

Decimal trimmed(Decimal decimal) {
  while (decimal.digits.size() > 1 && decimal.digits.back() == '0') decimal.digits.pop_back();
  return decimal;
}

// The exponent form with `digits` significant digits, rounded to nearest:
// "-1.25e+16" (the point is the locale's; only the digits are used).
std::string scientific(double value, int digits) {
  char text[40];
  std::snprintf(text, sizeof text, "%.*e", digits - 1, value);
  return text;
}

// The significant digits of the exponent form and its exponent.
Decimal parts(const std::string& text) {
  Decimal decimal;
  const std::size_t e = text.find('e');
  for (std::size_t i = 0; i < e; ++i) {
    if (text[i] == '-') decimal.negative = true;
    if (text[i] >= '0' && text[i] <= '9') decimal.digits += text[i];
  }
  decimal.exponent = std::atoi(text.c_str() + e + 1);
  return decimal;
}

// The decimal `units` × 10^power.
Decimal scaled(bool negative, std::uint64_t units, int power) {
  Decimal decimal{negative, std::to_string(units), 0};
  decimal.exponent = power + static_cast<int>(decimal.digits.size()) - 1;
  return decimal;
}

// Whether the decimal reads back as the value. It is read as digits and a
// power of ten ("-125e14"), which no locale writes differently.
bool readsBackAs(const Decimal& decimal, double value) {
  const int power = decimal.exponent - static_cast<int>(decimal.digits.size()) + 1;
  const std::string text =
      (decimal.negative ? "-" : "") + decimal.digits + "e" + std::to_string(power);
  return std::strtod(text.c_str(), nullptr) == value;
}

// The number of `digits` significant digits that reads back as the value and
// lies nearest to it, if there is one. The nearest such number is tried first;
// just above a power of two, where the doubles below lie closer together than
// those above, the one next to it may be the only one that reads back.
std::optional<Decimal> readingBack(double value, int digits) {
  const Decimal nearest = parts(scientific(value, digits));
  if (readsBackAs(nearest, value)) return trimmed(nearest);
  const std::uint64_t units = std::stoull(nearest.digits);
  const int power = nearest.exponent - digits + 1;
  for (const std::uint64_t next : {units + 1, units - 1}) {
    const Decimal other = scaled(nearest.negative, next, power);
    if (next > 0 && readsBackAs(other, value)) return trimmed(other);
  }
  return std::nullopt;
}

// The fewest significant digits that read back as the value; 17 always do. A
// number that reads back with n digits does with n + 1 too (add a zero), so the
// fewest are found by halving the range.
Decimal shortest(double value) {
  int fewest = 1;
  int most = 17;
  while (fewest < most) {
    const int middle = (fewest + most) / 2;
    if (readingBack(value, middle)) {
      most = middle;
    } else {
      fewest = middle + 1;
    }
  }
  return *readingBack(value, most);
}

// 1.5e+16, 9e-05: at least two digits of exponent, as printf writes them.
std::string exponentForm(const Decimal& decimal) {
  std::string text = decimal.negative ? "-" : "";
  text += decimal.digits.front();
  if (decimal.digits.size() > 1) text += "." + decimal.digits.substr(1);
  const int size = std::abs(decimal.exponent);
  text += decimal.exponent < 0 ? "e-" : "e+";
  if (size < 10) text += '0';
  return text + std::to_string(size);
}

// 44100, 7999.5, 0.0001: the digits with the point in place, zeros added.
std::string fixedForm(const Decimal& decimal) {
  std::string text = decimal.negative ? "-" : "";
  const auto count = static_cast<int>(decimal.digits.size());
  if (decimal.exponent < 0) {
    return text + "0." + std::string(static_cast<std::size_t>(-decimal.exponent - 1), '0') +
           decimal.digits;
  }
  const int whole = decimal.exponent + 1;
  if (whole >= count) {
    return text + decimal.digits + std::string(static_cast<std::size_t>(whole - count), '0');
  }
  const auto point = static_cast<std::size_t>(whole);
  return text + decimal.digits.substr(0, point) + "." + decimal.digits.substr(point);
}

}  // namespace

std::string decimalText(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  if (value == 0) return std::signbit(value) ? "-0.0" : "0.0";
  const double size = std::fabs(value);
  if (size < 1e-4 || size >= 0x1p53) return exponentForm(shortest(value));
  std::string text = fixedForm(shortest(value));
  if (text.find('.') == std::string::npos) text += ".0";
  return text;
}

std::string wholeText(double value) {
  // printf writes every digit of a whole double exactly; with no fraction it
  // writes no decimal point either, so no locale changes it. Adding 0 turns
  // the -0 of trunc(-0.5) into 0.
  char digits[400];
  std::snprintf(digits, sizeof digits, "%.0f", std::trunc(value) + 0.0);
  return digits;
}

}  // namespace orvel
