// --save DIR: checks Orvel's settings line against the machine and fixed bounds
// (save_check.h), then stores it as orvel.json. An earlier file is replaced only
// when every check has passed.
#include <unistd.h>

#include "cli/commands.h"
#include "cli/line_reader.h"
#include "cli/message.h"
#include "cli/save_check.h"
#include "cli/working_folder.h"
#include "files/folder_lock.h"

namespace orvel {
namespace {

// Orvel's settings take a few kilobytes; a longer line is not settings, and
// holding no more of it keeps a runaway writer from growing our memory.
constexpr std::size_t settingsLineKeep = 1 << 20;

}  // namespace

int saveCommand(const std::vector<std::string>& args, SoundSystem& system) {
  const auto folder = workingFolder("--save", args);
  if (!folder) return fail(folderMissing("--save"));
  const auto line = LineReader(STDIN_FILENO, settingsLineKeep).next();
  const SaveCheck check = checkSaveLine(
      system, line && !line->cut ? std::optional<std::string_view>(line->text) : std::nullopt);
  // A device the server can't tell of is no refusal of the line.
  if (!check.settings) return fail(system.answering() ? check.problem : notAnswering);
  const FolderLock lock(*folder);  // no switch reads the file while it changes
  if (lock.state() == LockState::busy) return fail(folderBusy);
  if (lock.state() == LockState::refused) return fail(folderUnlockable);
  if (!folder->save(*check.settings, folder->orvel()))
    return fail("couldn't keep Orvel's settings");
  say({{"type", "saved"}});
  return 0;
}

}  // namespace orvel
