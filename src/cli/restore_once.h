// RestoreOnce: what every trigger of a switch process runs: take the one lock,
// put the user's settings back if nobody has, and end the process with status 0
// still holding the lock. A second trigger waits on the lock until the first
// ends the process, so the "restored" line is always the last line written.
#pragma once

#include <mutex>

#include "files/files.h"
#include "sound/sound_system.h"

namespace orvel {

class RestoreOnce {
 public:
  RestoreOnce(SoundSystem& system, Files files) : system_(system), files_(std::move(files)) {}

  // Safe from any thread. Ends the process with _Exit: no static destructor
  // runs while other threads still do; every line is out already (say writes
  // unbuffered).
  [[noreturn]] void run();

 private:
  SoundSystem& system_;
  const Files files_;
  std::mutex lock_;
  bool restored_ = false;  // guarded by lock_
};

}  // namespace orvel
