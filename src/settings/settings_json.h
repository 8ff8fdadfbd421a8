// The JSON form of Settings, the same on stdin, in the --read message and in
// the working folder's files.
//
// Reading is strict: the top level is an object; "output" and "input" are side
// objects or null; "others" an array of side objects or null; a side needs a
// string "uid", and "name"/"layout" are strings, "rate" a number, "volume" an
// object of numbers, each possibly null. Unknown keys are ignored; anything else
// fails the whole read. Numbers must be finite 64-bit floats.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "settings/settings.h"

namespace orvel {

std::optional<Settings> readSettings(std::string_view text);

// Compact, sorted text (see json_text.h); nothing when a rate or a volume is not finite.
std::optional<std::string> writeSettings(const Settings& settings);

// The settings as a JSON value for a message; an empty object when they can't be written.
nlohmann::json encoded(const Settings& settings);

}  // namespace orvel
