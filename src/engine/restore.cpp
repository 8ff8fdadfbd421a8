#include "engine/restore.h"

#include "engine/put_back.h"
#include "engine/switch_file.h"
#include "files/folder_lock.h"

namespace orvel {
namespace {

Restored nothingToDo(const char* why) {
  return Restored{.outcome = {{}, {why}}};
}

// Puts the state's items back, then ends the switch in the folder: removes
// "switched" when nothing is owed, else leaves only the owed items in it.
Restored putStateBack(SoundSystem& system, const Files& folder, const SwitchState& state,
                      bool mayWrite) {
  PutBack back = putBack(system, state.items);
  Restored restored{std::move(back.outcome), std::move(back.left), back.owed.empty()};
  if (!mayWrite) {
    restored.complete = false;
    restored.outcome.skipped.push_back("another orvel-sound is using the folder");
    return restored;
  }
  const SwitchState owed{state.id, state.time, std::move(back.owed)};
  const bool ended =
      owed.items.empty() ? folder.remove(folder.mark()) : writeSwitchFile(folder, owed);
  if (!ended) {
    restored.complete = false;
    restored.outcome.skipped.push_back("couldn't end the switch in the folder");
  }
  return restored;
}

// A "switched" left by an earlier version of the tool holds only a time, and
// the user's settings are in snapshot.json: put those back as that version did.
Restored restoreEarlierForm(SoundSystem& system, const Files& folder) {
  const auto snapshot = Files::load(folder.snapshot());
  Restored restored = snapshot ? Restored{.outcome = applyAll(system, *snapshot)}
                               : nothingToDo("no switch to put back");
  if (!folder.remove(folder.mark())) {
    restored.complete = false;
    restored.outcome.skipped.push_back("couldn't end the switch in the folder");
  }
  return restored;
}

}  // namespace

Restored restoreFolder(SoundSystem& system, const Files& folder) {
  system.beginCommand();
  const FolderLock lock(folder);
  const bool mayWrite = lock.state() != LockState::busy;
  const SwitchFile file = readSwitchFile(folder);
  if (file.state) return putStateBack(system, folder, *file.state, mayWrite);
  if (!mayWrite) {
    Restored busy = nothingToDo("another orvel-sound is using the folder");
    busy.complete = false;
    return busy;
  }
  if (file.present) return restoreEarlierForm(system, folder);
  return nothingToDo("no switch to put back");
}

Restored restoreOwnSwitch(SoundSystem& system, const Files& folder, const SwitchState& mine) {
  system.beginCommand();
  if (!folder.present()) {
    PutBack back = putBack(system, mine.items);
    return Restored{std::move(back.outcome), std::move(back.left), back.owed.empty()};
  }
  const FolderLock lock(folder);
  const bool mayWrite = lock.state() != LockState::busy;
  const SwitchFile file = readSwitchFile(folder);
  if (file.state && file.state->id != mine.id) return nothingToDo("another switch is in effect");
  if (!file.present) return nothingToDo("no switch to put back");
  return putStateBack(system, folder, file.state ? *file.state : mine, mayWrite);
}

}  // namespace orvel
