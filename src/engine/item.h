// The settings a switch changes, as items: the default output, the default
// input, and each named device's rate, layout and volume map. For every item a
// switch keeps the user's value, the value it asked for and the value it read
// back after applying, so that a restore can tell the switch's doing from a
// choice the user made since, and owe what it can't put back yet.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "settings/direction.h"
#include "settings/side.h"

namespace orvel {

enum class ItemKind { defaultDevice, rate, layout, volume };

// A default's device UID or a layout text (string), a rate in Hz (double), or
// the volume map of every key the item covers.
using ItemValue = std::variant<std::string, double, VolumeMap>;

struct Item {
  ItemKind kind = ItemKind::rate;
  // Which default, for a default item. For a device's item, the user's default
  // that the device was, if any: its entries then read "the output NAME".
  std::optional<Direction> side;
  std::string uid;                  // the device, for a rate, layout or volume item
  std::optional<std::string> name;  // the device's name (a default's: the user's device)
  std::optional<ItemValue> user;    // nothing: there was none, or it couldn't be read
  std::optional<ItemValue> asked;
  std::optional<ItemValue> readBack;  // nothing until applied, or when unreadable then
  // Other values that are the switches' doing, not the user's: what earlier
  // switches of the state asked for and read back (a new switch took it over),
  // and what this one asked for before its last word on the setting.
  std::vector<ItemValue> earlier;

  // The same setting, whatever its values.
  bool sameSetting(const Item& other) const {
    return kind == other.kind && uid == other.uid &&
           (kind != ItemKind::defaultDevice || side == other.side);
  }
  friend bool operator==(const Item&, const Item&) = default;
};

// What the file "switched" holds while a switch is in effect: the id of the
// switch that owns it, when it began, and the items still to put back.
struct SwitchState {
  std::string id;
  std::string time;  // UTC, 2026-11-23T09:41:07Z
  std::vector<Item> items;

  friend bool operator==(const SwitchState&, const SwitchState&) = default;
};

}  // namespace orvel
