// --restore DIR: puts the snapshot back outside any switch process, for
// instance after a crash left the switch marker behind.
#include "cli/commands.h"
#include "cli/message.h"
#include "cli/working_folder.h"
#include "engine/restore.h"

namespace orvel {

void sayRestored(const Outcome& outcome) {
  say({{"type", "restored"}, {"applied", outcome.done}, {"skipped", outcome.skipped}});
}

int restoreCommand(const std::vector<std::string>& args, SoundSystem& system) {
  const auto folder = workingFolder("--restore", args);
  if (!folder) return fail(folderMissing("--restore"));
  sayRestored(restore(system, *folder));
  return 0;
}

}  // namespace orvel
