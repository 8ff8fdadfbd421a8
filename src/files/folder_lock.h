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
// ".lock" is opened read-only (flock needs no more), so one made by another
// user still serves. Where the folder's file system has no locks (some network
// home folders), a file in the user's own runtime folder named after the
// folder's device and inode is locked instead. A planted ".lock" that is no
// regular file can't switch the lock off: the lock is then refused.
//
// A FolderLock is used by the thread that made it.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>

#include "files/file_descriptor.h"
#include "files/files.h"

namespace orvel {

enum class LockState {
  held,      // this FolderLock holds the folder
  unlocked,  // no lock file exists and none can be made: an unwritable folder,
             // where every write fails anyway and nothing can be lost; go on without
  busy,      // another process held it all the while
  refused,   // ".lock" is there but unusable: no regular file (a folder, a link,
             // a FIFO), or one this user may not even read
  stopped,   // the caller's stop gave true while waiting
};

class FolderLock {
 public:
  // How long a command waits for the folder: beyond the longest a switch
  // holds it, which the settle budget and the sound system's own deadlines
  // bound. 20 s; a test hook,
  // ORVEL_SOUND_LOCK_PATIENCE_MS (whole milliseconds, up to an hour), sets
  // another when it is valid.
  static std::chrono::steady_clock::duration patience();

  // Takes the folder's lock, polling every 5 ms up to `wait` while another
  // process holds it. Before each pause it asks `stop` (when given), and gives
  // up as soon as that is true: a switch waiting for the folder ends at once on
  // a signal or its parent's end.
  explicit FolderLock(const Files& folder, std::chrono::steady_clock::duration wait = patience(),
                      std::function<bool()> stop = {});

  LockState state() const { return state_; }

 private:
  // Locks the file at `path`, made when missing, into file_ until `end`;
  // nothing where its file system has no locks.
  std::optional<LockState> lockAt(const std::filesystem::path& path,
                                  std::chrono::steady_clock::time_point end,
                                  const std::function<bool()>& stop);

  FileDescriptor file_;
  LockState state_ = LockState::unlocked;
};

}  // namespace orvel
