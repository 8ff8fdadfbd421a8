// FolderLock: one command at a time in a working folder. An advisory flock on
// the small file ".lock" in the folder (the same on Linux and macOS), held
// while the FolderLock lives and, however the process ends, never beyond it.
//
// A switch holds it while it keeps the user's settings, marks the switch and
// applies Orvel's; a restore while it applies the snapshot and removes the
// marker; a save while it writes. So two switches of one folder never both
// take the machine's state for the user's, and no two processes write the
// folder's files at once.
//
// A folder where the lock file can't be made (it can't be written) is used
// without the lock: every write there fails anyway, and nothing can be lost.
#pragma once

#include <chrono>

#include "files/file_descriptor.h"
#include "files/files.h"

namespace orvel {

class FolderLock {
 public:
  // How long a command waits for the folder: beyond the longest a switch
  // holds it, which the sound system's own deadlines bound.
  static constexpr std::chrono::seconds patience{20};

  // Takes the folder's lock, waiting up to `wait` while another process holds it.
  explicit FolderLock(const Files& folder, std::chrono::steady_clock::duration wait = patience);

  // Another process held the folder all the while: nothing is held.
  bool busy() const { return busy_; }

 private:
  FileDescriptor file_;
  bool busy_ = false;
};

}  // namespace orvel
