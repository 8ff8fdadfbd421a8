// Standard base64 (RFC 4648 alphabet, "=" padding), written by hand because the
// decoding must be strict to the letter: a length that is a multiple of four,
// one or two "=" only at the very end, no white space or other character.
// Libraries at hand skip white space or accept missing padding.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

std::string base64Encode(std::span<const std::uint8_t> bytes);

// Nothing for text that isn't strict base64; the empty text decodes to no bytes.
std::optional<std::vector<std::uint8_t>> base64Decode(std::string_view text);

}  // namespace orvel
