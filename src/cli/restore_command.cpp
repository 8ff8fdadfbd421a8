// --restore DIR: puts the snapshot back outside any switch process, for
// instance after a crash left the switch marker behind.
#include "cli/commands.h"
#include "cli/message/message.h"
#include "engine/restore.h"
#include "files/files.h"

namespace orvel {

void restoreCommand(const std::vector<std::string>& args, SoundSystem& system) {
  restore(system, files("--restore", args));
  finish(0);
}

}  // namespace orvel
