#include "engine/put_back.h"

#include <algorithm>
#include <cmath>

#include "engine/entries.h"
#include "engine/holder.h"
#include "engine/items.h"
#include "engine/tolerances.h"

namespace orvel {
namespace {

constexpr const char* notAnswering = "the sound system isn't answering";

enum class Result { done, owed };

// One item being put back: its label and where its entries go.
struct Work {
  SoundSystem& system;
  const Item& item;
  std::string label;
  PutBack& result;

  Result owe(std::string entry) {
    auto& skipped = result.outcome.skipped;
    if (std::find(skipped.begin(), skipped.end(), entry) == skipped.end()) {
      skipped.push_back(std::move(entry));
    }
    return Result::owed;
  }
  Result record(bool accepted, std::string entry) {
    if (!accepted) return owe(std::move(entry));
    result.outcome.done.push_back(std::move(entry));
    return Result::done;
  }
  Result leave(std::string entry) {
    result.left.push_back(std::move(entry));
    return Result::done;
  }
};

// The entry that names setting the item to the user's value.
std::string entryOf(const Item& item, const std::string& label) {
  switch (item.kind) {
    case ItemKind::defaultDevice:
      return defaultEntry(label);
    case ItemKind::rate:
      return rateEntry(label, std::get<double>(*item.user));
    case ItemKind::layout:
      return layoutEntry(label);
    case ItemKind::volume:
      return volumeEntry(label);
  }
  return label;
}

// Each key in text order ("0" first: on some systems it moves every channel),
// read afresh after the one before it was set.
Result putVolumesBack(Work& work, const VolumeMap& users) {
  Result result = Result::done;
  for (const auto& [key, level] : users) {
    const auto present = controlLevel(work.system, work.item.uid, key);
    if (present && std::fabs(*present - level) <= volumeTolerance) continue;
    const bool accepted = work.system.setVolume(work.item.uid, key, level);
    if (work.record(accepted, volumeEntry(work.label)) == Result::owed) result = Result::owed;
  }
  return result;
}

// Asks for the user's value of a default, a rate or a layout; whether it was taken.
bool set(Work& work) {
  const Item& item = work.item;
  switch (item.kind) {
    case ItemKind::defaultDevice:
      return work.system.setDefault(*item.side, std::get<std::string>(*item.user));
    case ItemKind::rate:
      return work.system.setRate(item.uid, std::get<double>(*item.user));
    case ItemKind::layout:
      return work.system.setLayout(item.uid, std::get<std::string>(*item.user));
    case ItemKind::volume:
      break;  // key by key, in putVolumesBack
  }
  return false;
}

// The user's value asked for once more: of a volume item, the controls the
// switch asked for.
void askAgain(Work& work) {
  const Item& item = work.item;
  if (item.kind != ItemKind::volume) {
    set(work);
    return;
  }
  const auto& users = std::get<VolumeMap>(*item.user);
  for (const auto& [key, level] : std::get<VolumeMap>(*item.asked)) {
    if (users.contains(key)) work.system.setVolume(item.uid, key, users.at(key));
  }
}

// Whether the device the item needs is there: the user's default device in its
// direction, a device's layout and volumes on its output side, its rate either way.
bool connected(SoundSystem& system, const Item& item) {
  if (item.kind == ItemKind::defaultDevice) {
    return system.exists(std::get<std::string>(*item.user), *item.side);
  }
  const bool output = system.exists(item.uid, Direction::output);
  if (item.kind != ItemKind::rate) return output;
  return output || system.exists(item.uid, Direction::input);
}

// The system moves a default itself when the device the switch made the
// default goes away: that is no choice of the user's. That device is the one
// read back after applying (a change refused leaves an earlier switch's), else
// the one asked for.
bool switchedDefaultGone(SoundSystem& system, const Item& item) {
  if (item.kind != ItemKind::defaultDevice) return false;
  const auto& made = item.readBack && item.readBack != item.user ? item.readBack : item.asked;
  return made && !system.exists(std::get<std::string>(*made), *item.side);
}

Result putBackOne(Work& work) {
  const Item& item = work.item;
  if (!connected(work.system, item)) return work.owe(notConnectedEntry(work.label));
  Holder holder = holderOf(item, presentValue(work.system, item));
  if (holder != Holder::user && switchedDefaultGone(work.system, item)) holder = Holder::theSwitch;
  switch (holder) {
    case Holder::user:
      // Asked again, so that a change of the switch's still on its way gives
      // way to the user's; one refused is no loss: the switch's was too, likely.
      if (mayStillLand(item)) askAgain(work);
      return Result::done;
    case Holder::someoneElse:
      return work.leave(entryOf(item, work.label));
    case Holder::unknown:
      return work.owe(entryOf(item, work.label));
    case Holder::theSwitch:
      break;
  }
  if (item.kind == ItemKind::volume) {
    if (putVolumesBack(work, std::get<VolumeMap>(*item.user)) == Result::owed) return Result::owed;
  } else if (!set(work)) {
    return work.owe(entryOf(item, work.label));
  }
  // Taken is not yet done: the user's value is back only once the machine shows it.
  if (holderOf(item, presentValue(work.system, item)) != Holder::user) {
    return work.owe(entryOf(item, work.label));
  }
  if (item.kind != ItemKind::volume) work.result.outcome.done.push_back(entryOf(item, work.label));
  return Result::done;
}

}  // namespace

PutBack putBack(SoundSystem& system, const std::vector<Item>& items) {
  PutBack result;
  bool answering = system.answering();
  for (const Item& item : items) {
    if (!item.user) continue;  // there was nothing of the user's to put back
    if (answering) {
      const std::size_t entries = result.outcome.skipped.size();
      Work work{system, item, labelOf(item), result};
      if (putBackOne(work) == Result::done) continue;
      answering = system.answering();
      if (!answering) result.outcome.skipped.resize(entries);  // not the item's fault
    }
    result.owed.push_back(item);
  }
  if (!answering && !result.owed.empty()) result.outcome.skipped.push_back(notAnswering);
  return result;
}

}  // namespace orvel
