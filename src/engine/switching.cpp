#include "engine/switching.h"

#include <algorithm>
#include <random>

#include "engine/holder.h"
#include "engine/items.h"

namespace orvel {
namespace {

const Item* find(const std::vector<Item>& items, const Item& setting) {
  const auto found = std::find_if(items.begin(), items.end(),
                                  [&](const Item& item) { return item.sameSetting(setting); });
  return found == items.end() ? nullptr : &*found;
}

// Whether the earlier switch's user value still stands for a present value.
bool stillOwed(const Item& earlier, const std::optional<ItemValue>& present) {
  const Holder holder = holderOf(earlier, present);
  return holder == Holder::theSwitch || holder == Holder::unknown || holder == Holder::user;
}

}  // namespace

SwitchPlan planSwitch(SoundSystem& system, const Settings& target,
                      const std::optional<SwitchState>& earlier, std::string id, std::string time) {
  SwitchPlan plan{.state = {.id = std::move(id), .time = std::move(time)}};
  plan.state.items = itemsFor(system, target);  // the user's values: what the machine holds now
  if (!earlier) return plan;
  plan.kept = true;
  for (Item& item : plan.state.items) {
    const Item* before = find(earlier->items, item);
    // Judged on the keys the earlier switch looked at, which may be others.
    if (before != nullptr && stillOwed(*before, presentValue(system, *before))) {
      item.user = before->user;
      item.name = before->name;
      item.earlier = before->earlier;
      for (const auto* value : {&before->asked, &before->readBack}) {
        if (*value) item.earlier.push_back(**value);
      }
    } else {
      plan.kept = false;
    }
  }
  for (const Item& before : earlier->items) {
    if (find(plan.state.items, before) != nullptr) continue;
    if (stillOwed(before, presentValue(system, before))) {
      plan.state.items.push_back(before);
    } else {
      plan.kept = false;
    }
  }
  arrange(plan.state.items, system.defaultUID(Direction::output),
          system.defaultUID(Direction::input));
  return plan;
}

void readBack(SoundSystem& system, SwitchState& state) {
  for (Item& item : state.items) item.readBack = presentValue(system, item);
}

std::string newSwitchId() {
  std::random_device entropy;
  std::string id;
  for (int k = 0; k < 4; ++k) {
    char part[9];
    std::snprintf(part, sizeof part, "%08x", static_cast<unsigned>(entropy()));
    id += part;
  }
  return id;
}

}  // namespace orvel
