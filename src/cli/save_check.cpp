#include "cli/save_check.h"

#include <utility>

#include "settings/number_text.h"
#include "settings/settings_json.h"
#include "sound/base64.h"

namespace orvel {
namespace {

// The first problem of one side, checked in the order the messages name.
std::optional<std::string> sideProblem(SoundSystem& system, const Side& side, Direction direction) {
  if (!system.exists(side.uid, direction)) {
    return side.name.value_or(side.uid) + " isn't a connected " + std::string(rawValue(direction));
  }
  if (side.rate && !(*side.rate >= 8000 && *side.rate <= 768000)) {
    return decimalText(*side.rate) + " Hz isn't a sample rate";
  }
  if (side.layout) {
    const auto bytes = base64Decode(*side.layout);
    if (!bytes || bytes->empty()) return "that channel layout isn't readable";
  }
  if (side.volume) {
    for (const auto& [key, value] : *side.volume) {
      if (!(value >= 0 && value <= 1)) return "a volume runs from 0 to 1";
    }
  }
  return std::nullopt;
}

SaveCheck refused(std::string problem) {
  return {std::nullopt, std::move(problem)};
}

}  // namespace

SaveCheck checkSaveLine(SoundSystem& system, std::optional<std::string_view> line) {
  auto settings = line ? readSettings(*line) : std::nullopt;
  if (!settings) return refused("Orvel's settings are one JSON line on stdin");
  if (!settings->output && !settings->input) {
    return refused("Orvel's settings name an output or an input");
  }
  if (settings->output) {
    if (auto problem = sideProblem(system, *settings->output, Direction::output)) {
      return refused(std::move(*problem));
    }
  }
  if (settings->input) {
    if (auto problem = sideProblem(system, *settings->input, Direction::input)) {
      return refused(std::move(*problem));
    }
  }
  return {std::move(settings), ""};
}

}  // namespace orvel
