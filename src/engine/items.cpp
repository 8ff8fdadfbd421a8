#include "engine/items.h"

#include <algorithm>
#include <map>
#include <set>

#include "engine/entries.h"

namespace orvel {
namespace {

// What the target asks of one device, merged in the order that applying goes
// (others, then output, then input), so that the last word wins as it does
// there. A setting named twice is asked for twice: the words before the last
// are kept too, as a switch stopped between them leaves one of those.
struct Wanted {
  std::optional<double> rate;
  std::optional<std::string> layout;
  std::optional<VolumeMap> volume;
  std::vector<ItemValue> rates, layouts, volumes;  // the words before the last

  template <typename T>
  static void say(std::optional<T>& last, std::vector<ItemValue>& before, const T& value) {
    if (last) before.emplace_back(*last);
    last = value;
  }
};

void merge(Wanted& wanted, const Side& side, bool outputSide) {
  if (side.rate) Wanted::say(wanted.rate, wanted.rates, *side.rate);
  if (!outputSide) return;
  if (side.layout) Wanted::say(wanted.layout, wanted.layouts, *side.layout);
  if (side.volume) {
    VolumeMap merged = wanted.volume.value_or(VolumeMap());
    for (const auto& [key, level] : *side.volume) merged[key] = level;
    Wanted::say(wanted.volume, wanted.volumes, merged);
  }
}

// The devices the target names, in its order (output, input, others), and
// what it asks of each.
std::vector<std::pair<std::string, Wanted>> wantedDevices(SoundSystem& system,
                                                          const Settings& target) {
  std::vector<std::pair<std::string, Wanted>> devices;
  const auto entry = [&](const std::string& uid) -> Wanted& {
    for (auto& [known, wanted] : devices) {
      if (known == uid) return wanted;
    }
    return devices.emplace_back(uid, Wanted()).second;
  };
  if (target.output) entry(target.output->uid);
  if (target.input) entry(target.input->uid);
  if (target.others) {
    for (const Side& side : *target.others) {
      merge(entry(side.uid), side, system.exists(side.uid, Direction::output));
    }
  }
  if (target.output) merge(entry(target.output->uid), *target.output, true);
  if (target.input) merge(entry(target.input->uid), *target.input, false);
  return devices;
}

std::set<std::string> keysOf(const std::optional<ItemValue>& value) {
  std::set<std::string> keys;
  if (value && std::holds_alternative<VolumeMap>(*value)) {
    for (const auto& [key, level] : std::get<VolumeMap>(*value)) keys.insert(key);
  }
  return keys;
}

// The controls of those keys that can be read; nothing when none can.
std::optional<ItemValue> volumesAt(SoundSystem& system, const std::string& uid,
                                   const std::set<std::string>& keys) {
  VolumeMap volumes = system.controls(uid);
  std::erase_if(volumes, [&](const auto& control) { return !keys.contains(control.first); });
  if (volumes.empty()) return std::nullopt;
  return volumes;
}

template <typename T>
std::optional<ItemValue> held(std::optional<T> value) {
  if (!value) return std::nullopt;
  return ItemValue(std::move(*value));
}

// Further devices (no side) first, then the output's, then the input's; a
// default before its device's own settings.
int restoreRank(const Item& item) {
  const int side = !item.side ? 0 : *item.side == Direction::output ? 1 : 2;
  return side * 2 + (item.kind == ItemKind::defaultDevice ? 0 : 1);
}

}  // namespace

std::optional<ItemValue> presentValue(SoundSystem& system, const Item& item) {
  switch (item.kind) {
    case ItemKind::defaultDevice:
      return held(system.defaultUID(*item.side));
    case ItemKind::rate:
      return held(system.rate(item.uid));
    case ItemKind::layout:
      return held(system.layout(item.uid));
    case ItemKind::volume: {
      std::set<std::string> keys = keysOf(item.user);
      keys.merge(keysOf(item.asked));
      keys.merge(keysOf(item.readBack));
      for (const ItemValue& value : item.earlier) keys.merge(keysOf(value));
      return volumesAt(system, item.uid, keys);
    }
  }
  return std::nullopt;
}

std::vector<Item> itemsFor(SoundSystem& system, const Settings& target) {
  std::map<Direction, std::optional<std::string>> defaults;
  std::vector<Item> items;
  for (const auto& [direction, side] :
       {std::pair{Direction::output, &target.output}, std::pair{Direction::input, &target.input}}) {
    defaults[direction] = system.defaultUID(direction);
    if (!*side) continue;
    Item item{.kind = ItemKind::defaultDevice, .side = direction, .asked = (*side)->uid};
    if (const auto& users = defaults[direction]) {
      item.name = system.name(*users);
      item.user = *users;
    }
    items.push_back(std::move(item));
  }
  for (const auto& [uid, wanted] : wantedDevices(system, target)) {
    const Item device{.uid = uid, .name = system.name(uid)};
    const auto add = [&](ItemKind kind, ItemValue asked, const std::vector<ItemValue>& before) {
      Item item = device;
      item.kind = kind;
      item.asked = std::move(asked);
      item.earlier = before;
      if (kind == ItemKind::volume) {
        // Every control, so the balance of the channels comes back whole.
        VolumeMap controls = system.controls(device.uid);
        if (!controls.empty()) item.user = std::move(controls);
      } else {
        item.user = presentValue(system, item);
      }
      items.push_back(std::move(item));
    };
    if (wanted.rate) add(ItemKind::rate, *wanted.rate, wanted.rates);
    if (wanted.layout) add(ItemKind::layout, *wanted.layout, wanted.layouts);
    if (wanted.volume && !wanted.volume->empty()) {
      add(ItemKind::volume, *wanted.volume, wanted.volumes);
    }
  }
  arrange(items, defaults[Direction::output], defaults[Direction::input]);
  return items;
}

void arrange(std::vector<Item>& items, const std::optional<std::string>& outputNow,
             const std::optional<std::string>& inputNow) {
  std::map<Direction, std::optional<std::string>> users{{Direction::output, outputNow},
                                                        {Direction::input, inputNow}};
  for (const Item& item : items) {
    if (item.kind != ItemKind::defaultDevice) continue;
    users[*item.side] = item.user ? std::optional(std::get<std::string>(*item.user)) : std::nullopt;
  }
  for (Item& item : items) {
    if (item.kind == ItemKind::defaultDevice) continue;
    item.side.reset();
    // Layout and volumes are a device's output side: those of the user's
    // default input are a further device's, never the input's.
    if (users[Direction::output] == item.uid) {
      item.side = Direction::output;
    } else if (users[Direction::input] == item.uid && item.kind == ItemKind::rate) {
      item.side = Direction::input;
    }
  }
  std::stable_sort(items.begin(), items.end(),
                   [](const Item& a, const Item& b) { return restoreRank(a) < restoreRank(b); });
}

std::optional<double> controlLevel(SoundSystem& system, const std::string& uid,
                                   const std::string& key) {
  const VolumeMap controls = system.controls(uid);
  const auto found = controls.find(key);
  if (found == controls.end()) return std::nullopt;
  return found->second;
}

std::string labelOf(const Item& item) {
  std::string uid = item.uid;
  if (item.kind == ItemKind::defaultDevice && item.user) uid = std::get<std::string>(*item.user);
  return labelOf(item.side, item.name, uid);
}

Settings usersSettings(const std::vector<Item>& items) {
  Settings settings;
  const auto sideOf = [&](const Item& item) -> Side& {
    const std::string& uid =
        item.kind == ItemKind::defaultDevice ? std::get<std::string>(*item.user) : item.uid;
    std::optional<Side>* slot = nullptr;
    if (item.side == Direction::output) slot = &settings.output;
    if (item.side == Direction::input) slot = &settings.input;
    if (slot != nullptr) {
      if (!*slot) *slot = Side{.uid = uid, .name = item.name};
      return **slot;
    }
    if (!settings.others) settings.others.emplace();
    for (Side& other : *settings.others) {
      if (other.uid == uid) return other;
    }
    return settings.others->emplace_back(Side{.uid = uid, .name = item.name});
  };
  for (const Item& item : items) {
    if (!item.user) continue;
    Side& side = sideOf(item);
    if (item.kind == ItemKind::rate) side.rate = std::get<double>(*item.user);
    if (item.kind == ItemKind::layout) side.layout = std::get<std::string>(*item.user);
    if (item.kind == ItemKind::volume) side.volume = std::get<VolumeMap>(*item.user);
  }
  return settings;
}

}  // namespace orvel
