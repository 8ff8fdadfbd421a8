// Direction: which default device a side names, the output or the input.
#pragma once

#include <string_view>

namespace orvel {

enum class Direction { output, input };

// The direction's text: "output" or "input".
std::string_view rawValue(Direction direction);

}  // namespace orvel
