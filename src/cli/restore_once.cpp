#include "cli/restore_once.h"

#include "cli/commands.h"
#include "cli/message.h"
#include "engine/restore.h"

namespace orvel {

void RestoreOnce::run() {
  lock_.lock();  // never released: the holder ends the process
  if (!restored_) {
    restored_ = true;
    sayRestored(restoreOwnSwitch(system_, files_, mine_));
  }
  endProcess(0);
}

}  // namespace orvel
