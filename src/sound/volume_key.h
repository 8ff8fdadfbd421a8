// The element number that a volume key names: an optional single "+" or "-",
// one or more ASCII digits (leading zeros allowed), at most 4294967295; after
// "-" only zero. Anything else, the empty text included, names nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace orvel {

std::optional<std::uint32_t> parseVolumeKey(std::string_view key);

}  // namespace orvel
