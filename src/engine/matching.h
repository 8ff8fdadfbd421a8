// Whether the machine already holds what a wanted side asks for, within the
// tolerances that applying uses too, so that a side found held gives no change.
#pragma once

#include <optional>

#include "settings/side.h"

namespace orvel {

inline constexpr double rateTolerance = 0.5;  // Hz
inline constexpr double volumeTolerance = 0.001;

// True when wanted is absent, or current has its UID and every setting it asks
// for (a missing current rate counts as 0, a missing volume key as -1).
bool matches(const std::optional<Side>& current, const std::optional<Side>& wanted);

}  // namespace orvel
