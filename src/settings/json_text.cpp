#include "settings/json_text.h"

#include <cmath>

namespace orvel {
namespace {

bool allFinite(const nlohmann::json& value) {
  if (value.is_number_float()) return std::isfinite(value.get<double>());
  if (value.is_structured()) {
    for (const auto& element : value) {
      if (!allFinite(element)) return false;
    }
  }
  return true;
}

}  // namespace

std::optional<std::string> jsonText(const nlohmann::json& value) {
  // nlohmann writes a non-finite number as null; that would not read back.
  if (!allFinite(value)) return std::nullopt;
  std::string compact;
  try {
    // Objects are std::map: members come out sorted by key at every depth.
    compact = value.dump(-1, ' ', false, nlohmann::json::error_handler_t::strict);
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;  // text that isn't UTF-8
  }
  // A solidus can only stand inside a string, so every one of them is escaped.
  std::string text;
  text.reserve(compact.size());
  for (const char c : compact) {
    if (c == '/') text += '\\';
    text += c;
  }
  return text;
}

}  // namespace orvel
