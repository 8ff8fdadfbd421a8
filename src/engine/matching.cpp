#include "engine/matching.h"

#include <cmath>

namespace orvel {
namespace {

// A missing current rate counts as 0.
bool rateDiffers(const Side& current, double wanted) {
  return std::fabs(current.rate.value_or(0) - wanted) > rateTolerance;
}

bool layoutDiffers(const Side& current, const std::string& wanted) {
  return current.layout != wanted;
}

// Only the wanted keys are looked at; a missing current key counts as -1,
// further from every volume than the tolerance.
bool volumeDiffers(const Side& current, const VolumeMap& wanted) {
  for (const auto& [key, value] : wanted) {
    double held = -1;
    if (current.volume) {
      const auto found = current.volume->find(key);
      if (found != current.volume->end()) held = found->second;
    }
    if (std::fabs(held - value) > volumeTolerance) return true;
  }
  return false;
}

}  // namespace

bool matches(const std::optional<Side>& current, const std::optional<Side>& wanted) {
  if (!wanted) return true;
  if (!current || current->uid != wanted->uid) return false;
  if (wanted->rate && rateDiffers(*current, *wanted->rate)) return false;
  if (wanted->layout && layoutDiffers(*current, *wanted->layout)) return false;
  if (wanted->volume && volumeDiffers(*current, *wanted->volume)) return false;
  return true;
}

}  // namespace orvel
