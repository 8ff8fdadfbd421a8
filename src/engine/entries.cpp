#include "engine/entries.h"

#include <cmath>

#include "settings/number_text.h"

namespace orvel {
namespace {

// The rate cut toward zero, as decimal digits; a non-finite one (only a
// hand-edited file holds one) as "infinity", "-infinity" or "NaN", so the entry
// is still made.
std::string wholeHertz(double hz) {
  if (std::isnan(hz)) return "NaN";
  if (std::isinf(hz)) return hz > 0 ? "infinity" : "-infinity";
  return wholeText(hz);
}

}  // namespace

std::string labelOf(std::optional<Direction> direction, const std::optional<std::string>& name,
                    const std::string& uid) {
  const std::string& shown = name ? *name : uid;
  if (!direction) return shown;
  return "the " + std::string(rawValue(*direction)) + " " + shown;
}

std::string notConnectedEntry(const std::string& label) {
  return label + ": not connected";
}

std::string defaultEntry(const std::string& label) {
  return label + " as the default";
}

std::string rateEntry(const std::string& label, double hz) {
  return label + " at " + wholeHertz(hz) + " Hz";
}

std::string layoutEntry(const std::string& label) {
  return label + "'s channel layout";
}

std::string volumeEntry(const std::string& label) {
  return label + "'s volume";
}

}  // namespace orvel
