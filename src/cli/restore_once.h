// RestoreOnce: what every trigger of a switch process runs: take the one lock,
// put the user's settings back if nobody has, and end the process with status 0
// still holding the lock. A second trigger waits on the lock until the first
// ends the process, so the "restored" line is always the last line said.
#pragma once

#include <mutex>

#include "engine/item.h"
#include "files/files.h"
#include "sound/sound_system.h"

namespace orvel {

class RestoreOnce {
 public:
  // `mine`: the state the switch wrote, put back from memory if the folder goes.
  RestoreOnce(SoundSystem& system, Files files, SwitchState mine)
      : system_(system), files_(std::move(files)), mine_(std::move(mine)) {}

  // Safe from any thread. Ends the process once the line is out, or a second
  // later if the host doesn't read it (message.h).
  [[noreturn]] void run();

 private:
  SoundSystem& system_;
  const Files files_;
  const SwitchState mine_;
  std::mutex lock_;
  bool restored_ = false;  // guarded by lock_
};

}  // namespace orvel
