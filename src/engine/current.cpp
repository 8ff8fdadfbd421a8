#include "engine/current.h"

#include <utility>

namespace orvel {
namespace {

// The default device of one direction. Layout and volumes belong to a device's
// output side, so an input side never reads them.
std::optional<Side> side(SoundSystem& system, Direction direction) {
  auto uid = system.defaultUID(direction);
  if (!uid) return std::nullopt;
  Side result{.uid = std::move(*uid)};
  result.name = system.name(result.uid);
  result.rate = system.rate(result.uid);
  if (direction == Direction::output) {
    result.layout = system.layout(result.uid);
    result.volume = system.volume(result.uid);
  }
  return result;
}

}  // namespace

Settings current(SoundSystem& system) {
  Settings settings;
  settings.output = side(system, Direction::output);
  settings.input = side(system, Direction::input);
  return settings;
}

}  // namespace orvel
