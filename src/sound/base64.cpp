#include "sound/base64.h"

#include <array>

namespace orvel {
namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The 6-bit value of each byte, or -1 for a byte outside the alphabet.
constexpr std::array<int, 256> symbolValues() {
  std::array<int, 256> values{};
  values.fill(-1);
  for (std::size_t i = 0; i < alphabet.size(); ++i) {
    values[static_cast<unsigned char>(alphabet[i])] = static_cast<int>(i);
  }
  return values;
}
constexpr std::array<int, 256> symbolValue = symbolValues();

}  // namespace

std::string base64Encode(std::span<const std::uint8_t> bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  std::size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    const std::uint32_t group = (bytes[i] << 16) | (bytes[i + 1] << 8) | bytes[i + 2];
    for (int shift = 18; shift >= 0; shift -= 6) text += alphabet[(group >> shift) & 63];
  }
  const std::size_t rest = bytes.size() - i;
  if (rest > 0) {
    std::uint32_t group = bytes[i] << 16;
    if (rest == 2) group |= bytes[i + 1] << 8;
    text += alphabet[(group >> 18) & 63];
    text += alphabet[(group >> 12) & 63];
    text += rest == 2 ? alphabet[(group >> 6) & 63] : '=';
    text += '=';
  }
  return text;
}

std::optional<std::vector<std::uint8_t>> base64Decode(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::size_t padding = 0;
  if (!text.empty() && text.back() == '=') padding = text[text.size() - 2] == '=' ? 2 : 1;

  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += 4) {
    const bool last = i + 4 == text.size();
    const std::size_t symbols = last ? 4 - padding : 4;
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 4; ++k) {
      int value = 0;
      if (k < symbols) {
        value = symbolValue[static_cast<unsigned char>(text[i + k])];
        if (value < 0) return std::nullopt;  // '=' inside the text lands here too
      }
      group = (group << 6) | static_cast<std::uint32_t>(value);
    }
    bytes.push_back(static_cast<std::uint8_t>(group >> 16));
    if (symbols > 2) bytes.push_back(static_cast<std::uint8_t>(group >> 8));
    if (symbols > 3) bytes.push_back(static_cast<std::uint8_t>(group));
  }
  return bytes;
}

}  // namespace orvel
