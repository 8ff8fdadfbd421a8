#include "sound/volume_key.h"

#include <limits>

namespace orvel {

std::optional<std::uint32_t> parseVolumeKey(std::string_view key) {
  bool negative = false;
  if (!key.empty() && (key.front() == '+' || key.front() == '-')) {
    negative = key.front() == '-';
    key.remove_prefix(1);
  }
  if (key.empty()) return std::nullopt;
  std::uint64_t number = 0;
  for (const char c : key) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + static_cast<std::uint64_t>(c - '0');
    if (number > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  }
  if (negative && number != 0) return std::nullopt;
  return static_cast<std::uint32_t>(number);
}

}  // namespace orvel
