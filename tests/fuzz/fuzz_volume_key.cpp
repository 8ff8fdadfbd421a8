// parseVolumeKey against a plain reading of its grammar: an optional "+" or
// "-", ASCII digits, a value up to 4294967295 compared as digit text, and only
// zero after "-".
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "sound/volume_key.h"

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view key(reinterpret_cast<const char*>(data), size);
  if (orvel::parseVolumeKey(key) != referenceKey(key)) std::abort();
  return 0;
}
