#include "engine/restore.h"

#include <filesystem>
#include <system_error>

#include "cli/message/message.h"
#include "engine/apply.h"
#include "files/folder_lock.h"

namespace orvel {

// The snapshot stays for a later restore; the marker goes before the line is
// said, so a host that reads "restored" finds no switch in effect. A marker that
// is missing or can't be removed is passed over.
void restore(SoundSystem& system, const Files& files) {
  // Held until the line is said; a restore that waited in vain goes on all the
  // same: putting the user's settings back comes first.
  const FolderLock lock(files);
  const auto snapshot = Files::load(files.snapshot());
  const Outcome outcome =
      snapshot ? applyAll(system, *snapshot) : Outcome{{}, {"no snapshot to put back"}};
  std::error_code ignored;
  std::filesystem::remove(files.mark(), ignored);
  say({{"type", "restored"}, {"applied", outcome.done}, {"skipped", outcome.skipped}});
}

}  // namespace orvel
