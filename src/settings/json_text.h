// The one way this tool writes JSON text, on stdout and in its files: compact,
// members sorted by key at every depth, the solidus written as \/, non-ASCII
// text as raw UTF-8, numbers in a form that reads back as the same value.
#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace orvel {

// Nothing when the value can't be JSON: a non-finite number or text that isn't UTF-8.
std::optional<std::string> jsonText(const nlohmann::json& value);

}  // namespace orvel
