// The text form of a SwitchState, as the file "switched" holds it: one compact
// JSON object with sorted keys, {"id", "time", "items": [...]}, each item
// {"kind": "default"|"rate"|"layout"|"volume", "side", "uid", "name", "user",
// "asked", "readBack", "earlier": [...]}, a member absent when the item has none.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "engine/item.h"

namespace orvel {

// Nothing when a value can't be written (not finite).
std::optional<std::string> stateText(const SwitchState& state);
// Nothing when the text isn't a whole, well-typed state.
std::optional<SwitchState> readState(std::string_view text);

}  // namespace orvel
