// Side: the settings of one device, named by its UID. A plain value; an absent
// field is not part of the settings and is neither compared nor changed.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace orvel {

// Control key ("0" the main control, "1".."16" the channels) to a scalar, nominally 0 to 1.
using VolumeMap = std::map<std::string, double>;

struct Side {
  std::string uid;
  std::optional<std::string> name;    // for people only: never compared or applied
  std::optional<double> rate;         // nominal sample rate, Hz
  std::optional<std::string> layout;  // layout text: base64 of the backend's layout bytes
  std::optional<VolumeMap> volume;    // an empty map is present, not absent

  friend bool operator==(const Side&, const Side&) = default;
};

}  // namespace orvel
