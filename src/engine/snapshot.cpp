#include "engine/snapshot.h"

#include <set>
#include <utility>

namespace orvel {
namespace {

bool isDefault(const Settings& current, const std::string& uid) {
  return (current.output && current.output->uid == uid) ||
         (current.input && current.input->uid == uid);
}

// The device's settings as the machine holds them now; nothing when it is
// connected in neither direction. Layout and volumes only for an output device.
std::optional<Side> presentSide(SoundSystem& system, const std::string& uid) {
  const bool output = system.exists(uid, Direction::output);
  if (!output && !system.exists(uid, Direction::input)) return std::nullopt;
  Side side{.uid = uid};
  side.name = system.name(uid);
  side.rate = system.rate(uid);
  if (output) {
    side.layout = system.layout(uid);
    side.volume = system.volume(uid);
  }
  return side;
}

}  // namespace

// Only the target's UIDs count: its own values and its others are what the
// switch brings, not what the user had.
Settings snapshot(SoundSystem& system, const Settings& current, const Settings& target) {
  Settings kept = current;
  std::set<std::string> handled;
  for (const auto* wanted : {&target.output, &target.input}) {
    if (!*wanted) continue;
    const std::string& uid = (*wanted)->uid;
    if (isDefault(current, uid) || !handled.insert(uid).second) continue;
    auto side = presentSide(system, uid);
    if (!side) continue;
    if (!kept.others) kept.others.emplace();
    kept.others->push_back(std::move(*side));
  }
  return kept;
}

}  // namespace orvel
