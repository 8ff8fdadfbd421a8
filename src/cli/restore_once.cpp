#include "cli/restore_once.h"

#include <cstdlib>

#include "cli/commands.h"
#include "engine/restore.h"

namespace orvel {

void RestoreOnce::run() {
  lock_.lock();  // never released: the holder ends the process
  if (!restored_) {
    restored_ = true;
    sayRestored(restore(system_, files_));
  }
  std::_Exit(0);
}

}  // namespace orvel
