#include "engine/restore.h"

#include <filesystem>
#include <system_error>

#include "files/folder_lock.h"

namespace orvel {

// The marker goes once the settings are back, so a host that reads the outcome
// finds no switch in effect. A marker that is missing or can't be removed is
// passed over. A restore that waited for the lock in vain goes on all the same:
// putting the user's settings back comes first.
Outcome restore(SoundSystem& system, const Files& files) {
  const FolderLock lock(files);
  const auto snapshot = Files::load(files.snapshot());
  Outcome outcome =
      snapshot ? applyAll(system, *snapshot) : Outcome{{}, {"no snapshot to put back"}};
  std::error_code ignored;
  std::filesystem::remove(files.mark(), ignored);
  return outcome;
}

}  // namespace orvel
