// How near a value must be to count as held: the same for applying, for
// telling whose doing a value is, and for putting values back.
#pragma once

namespace orvel {

inline constexpr double rateTolerance = 0.5;  // Hz
inline constexpr double volumeTolerance = 0.001;

}  // namespace orvel
