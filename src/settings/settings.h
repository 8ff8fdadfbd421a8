// Settings: the default output and input with their settings, and further
// devices whose settings belong to them but which are not made a default.
#pragma once

#include <optional>
#include <vector>

#include "settings/side.h"

namespace orvel {

struct Settings {
  std::optional<Side> output;
  std::optional<Side> input;
  std::optional<std::vector<Side>> others;  // an empty list differs from an absent one

  friend bool operator==(const Settings&, const Settings&) = default;
};

}  // namespace orvel
