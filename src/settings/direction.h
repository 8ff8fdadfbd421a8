// Direction: which default device a side names, the output or the input.
#pragma once

#include <optional>
#include <string_view>

namespace orvel {

enum class Direction { output, input };

// "output" or "input" exactly; any other text (case, spaces, empty) gives nothing.
std::optional<Direction> directionFrom(std::string_view rawValue);

// The direction's text: "output" or "input".
std::string_view rawValue(Direction direction);

}  // namespace orvel
