// --restore DIR: puts back what a switch still owes, outside any switch
// process: after a crash, or once an unplugged device is back.
#include "cli/commands.h"
#include "cli/message.h"
#include "cli/working_folder.h"
#include "engine/restore.h"

namespace orvel {

void sayRestored(const Restored& restored) {
  say({{"type", "restored"},
       {"applied", restored.outcome.done},
       {"skipped", restored.outcome.skipped},
       {"left", restored.left},
       {"complete", restored.complete}});
}

int restoreCommand(const std::vector<std::string>& args, SoundSystem& system) {
  const auto folder = workingFolder("--restore", args);
  if (!folder) return fail(folderMissing("--restore"));
  sayRestored(restoreFolder(system, *folder));
  return 0;
}

}  // namespace orvel
