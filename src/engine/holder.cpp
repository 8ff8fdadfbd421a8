#include "engine/holder.h"

#include <algorithm>
#include <cmath>

#include "engine/tolerances.h"

namespace orvel {
namespace {

using Value = std::optional<ItemValue>;

bool near(double a, double b, double tolerance) {
  return std::fabs(a - b) <= tolerance;
}

// The value of a key in a volume value, if it has one.
std::optional<double> level(const Value& value, const std::string& key) {
  if (!value) return std::nullopt;
  const auto& volumes = std::get<VolumeMap>(*value);
  const auto found = volumes.find(key);
  if (found == volumes.end()) return std::nullopt;
  return found->second;
}

bool levelIs(const Value& value, const std::string& key, double present,
             double tolerance = volumeTolerance) {
  const auto held = level(value, key);
  return held && near(*held, present, tolerance);
}

// How far a control may snap from the value asked for (a 16-step control by
// half a step): what a switch stopped before it read back is known by.
constexpr double snapTolerance = 1.0 / 32;

// Whether a switch of the state left the key at this level: the level asked
// for (as the control may have taken it when nothing was read back), read
// back, or asked or read by an earlier switch.
bool switchLevel(const Item& item, const std::string& key, double present) {
  // The exact level the control took is known only from a read-back that
  // showed the change already; it may have shown later.
  const auto asked = level(item.asked, key);
  const auto back = level(item.readBack, key);
  const bool shown = asked && back && near(*asked, *back, snapTolerance);
  const double askedTolerance = shown ? volumeTolerance : snapTolerance;
  return levelIs(item.asked, key, present, askedTolerance) ||
         levelIs(item.readBack, key, present) ||
         std::any_of(item.earlier.begin(), item.earlier.end(), [&](const ItemValue& value) {
           return levelIs(value, key, present, snapTolerance);
         });
}

// Every key of the present map that the other value names is within the tolerance.
bool volumesMatch(const VolumeMap& present, const Value& other) {
  if (!other) return false;
  for (const auto& [key, held] : present) {
    const auto theirs = level(other, key);
    if (theirs && !near(*theirs, held, volumeTolerance)) return false;
  }
  return true;
}

// Where the main control is the loudest channel, it reads as one of them.
bool readsAsAChannel(const VolumeMap& present, double main) {
  return std::any_of(present.begin(), present.end(), [&](const auto& channel) {
    return channel.first != "0" && near(channel.second, main, volumeTolerance);
  });
}

Holder volumeHolder(const Item& item, const VolumeMap& present) {
  if (volumesMatch(present, item.user)) return Holder::user;
  for (const auto& [key, held] : present) {
    if (!level(item.user, key)) continue;  // a control the user's value never covered
    // A channel may have moved with the main control; a main control that is
    // the loudest channel reads as one of them.
    const bool switchLeftIt = switchLevel(item, key, held) || levelIs(item.user, key, held) ||
                              (key != "0" && switchLevel(item, "0", held)) ||
                              (key == "0" && readsAsAChannel(present, held));
    if (!switchLeftIt) return Holder::someoneElse;
  }
  return Holder::theSwitch;
}

bool same(ItemKind kind, const ItemValue& present, const Value& other) {
  if (!other) return false;
  if (kind == ItemKind::rate) {
    return near(std::get<double>(present), std::get<double>(*other), rateTolerance);
  }
  return present == *other;
}

}  // namespace

bool mayStillLand(const Item& item) {
  if (!item.asked || holderOf(item, item.asked) == Holder::user) return false;
  return !item.readBack || holderOf(item, item.readBack) == Holder::user;
}

Holder holderOf(const Item& item, const std::optional<ItemValue>& present) {
  if (!present) return Holder::unknown;
  if (item.kind == ItemKind::volume) return volumeHolder(item, std::get<VolumeMap>(*present));
  if (same(item.kind, *present, item.user)) return Holder::user;
  if (same(item.kind, *present, item.asked) || same(item.kind, *present, item.readBack) ||
      std::any_of(item.earlier.begin(), item.earlier.end(),
                  [&](const ItemValue& value) { return same(item.kind, *present, value); })) {
    return Holder::theSwitch;
  }
  return Holder::someoneElse;
}

}  // namespace orvel
