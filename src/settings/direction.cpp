#include "settings/direction.h"

namespace orvel {

std::string_view rawValue(Direction direction) {
  return direction == Direction::output ? "output" : "input";
}

}  // namespace orvel
