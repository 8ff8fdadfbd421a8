#include "files/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <thread>

namespace orvel {

FolderLock::FolderLock(const Files& folder, std::chrono::steady_clock::duration wait) {
  // Never through a link that somebody put there; the file itself is never
  // removed, as another process may be waiting on it.
  constexpr int flags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC;
  file_ = FileDescriptor(::open(folder.lock().c_str(), flags, 0666));
  if (!file_) return;
  const auto end = std::chrono::steady_clock::now() + wait;
  while (::flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) {  // no locks here: go on without
      file_ = FileDescriptor();
      return;
    }
    if (std::chrono::steady_clock::now() >= end) {
      file_ = FileDescriptor();
      busy_ = true;
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace orvel
