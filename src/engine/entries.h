// How the "applied", "skipped" and "left" entries name one setting of one
// device: the label ("the output Desk Speakers" for a default, "Desk Speakers"
// for a further device), then what was done to it.
#pragma once

#include <optional>
#include <string>

#include "settings/direction.h"

namespace orvel {

// "the output NAME", or NAME without a direction; the UID stands in for a
// missing name, never for an empty one.
std::string labelOf(std::optional<Direction> direction, const std::optional<std::string>& name,
                    const std::string& uid);

std::string notConnectedEntry(const std::string& label);     // "…: not connected"
std::string defaultEntry(const std::string& label);          // "… as the default"
std::string rateEntry(const std::string& label, double hz);  // "… at 48000 Hz"
std::string layoutEntry(const std::string& label);           // "…'s channel layout"
std::string volumeEntry(const std::string& label);           // "…'s volume"

}  // namespace orvel
