// openRegular: how every file of the working folder is opened. Whatever
// somebody put at a file's path, opening it never waits (a FIFO without a
// writer, a device) and never follows a link; only a regular file is used.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>

#include "files/file_descriptor.h"

namespace orvel {

// The file at `path`, opened with `flags` (O_CREAT with `mode`) and
// O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC; empty when it can't be opened
// or is not a regular file (a link, FIFO, device or directory). O_NONBLOCK stays
// set: it changes nothing for a regular file.
inline FileDescriptor openRegular(const std::filesystem::path& path, int flags, mode_t mode = 0) {
  constexpr int safe = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  FileDescriptor fd(::open(path.c_str(), flags | safe, mode));
  struct stat status {};
  if (fd && (::fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode))) return FileDescriptor();
  return fd;
}

}  // namespace orvel
