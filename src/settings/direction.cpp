#include "settings/direction.h"

namespace orvel {

std::optional<Direction> directionFrom(std::string_view rawValue) {
  if (rawValue == "output") return Direction::output;
  if (rawValue == "input") return Direction::input;
  return std::nullopt;
}

std::string_view rawValue(Direction direction) {
  return direction == Direction::output ? "output" : "input";
}

}  // namespace orvel
