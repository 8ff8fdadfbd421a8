#include "files/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

#include "files/file_descriptor.h"
#include "settings/settings_json.h"

namespace orvel {
namespace {

namespace fs = std::filesystem;

bool writeAll(int fd, std::string_view data) {
  while (!data.empty()) {
    const ssize_t written = ::write(fd, data.data(), data.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// Opens the temporary file for writing without ever following a symbolic link
// that somebody put at its path: such a link is removed and a new file made.
FileDescriptor openTemporary(const fs::path& path) {
  constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
  FileDescriptor fd(::open(path.c_str(), flags, 0666));
  if (!fd && errno == ELOOP && ::unlink(path.c_str()) == 0) {
    fd = FileDescriptor(::open(path.c_str(), flags | O_EXCL, 0666));
  }
  return fd;
}

// The data in the temporary file at its path; a part written before a failure
// is removed again.
bool writeNamed(std::string_view data, const fs::path& temporary) {
  FileDescriptor fd = openTemporary(temporary);
  if (!fd) return false;
  if (!writeAll(fd.get(), data) || ::fsync(fd.get()) != 0 || !fd.close()) {
    ::unlink(temporary.c_str());
    return false;
  }
  return true;
}

// The folder as a path that open() takes: "." for the current one.
fs::path openable(const fs::path& dir) {
  return dir.empty() ? fs::path(".") : dir;
}

// Where the system has unnamed files (Linux), the data is written to one and
// the file gets the temporary's name only once it is whole and on disk: a crash
// then leaves no part of a file in the folder, not even a temporary one.
// Nothing where no unnamed file can be made; the caller then writes the named way.
std::optional<bool> writeUnnamed(std::string_view data, const fs::path& dir,
                                 const fs::path& temporary) {
#ifdef O_TMPFILE
  FileDescriptor fd(::open(openable(dir).c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0666));
  if (!fd) return std::nullopt;
  if (!writeAll(fd.get(), data) || ::fsync(fd.get()) != 0) return false;
  // linkat never replaces an entry: whatever is at the temporary's path (an old
  // temporary, a planted link) is removed first and never followed.
  const std::string self = "/proc/self/fd/" + std::to_string(fd.get());
  ::unlink(temporary.c_str());
  return ::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, temporary.c_str(), AT_SYMLINK_FOLLOW) == 0 &&
         fd.close();
#else
  (void)data, (void)dir, (void)temporary;
  return std::nullopt;
#endif
}

// After a rename the folder entry itself must reach the disk too.
void syncFolder(const fs::path& dir) {
  FileDescriptor fd(::open(openable(dir).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd) ::fsync(fd.get());
}

std::optional<std::string> readWhole(const fs::path& path) {
  FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd) return std::nullopt;
  std::string content;
  char buffer[65536];
  for (;;) {
    const ssize_t got = ::read(fd.get(), buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) return content;
    content.append(buffer, static_cast<std::size_t>(got));
  }
}

}  // namespace

bool Files::save(const Settings& settings, const fs::path& file) const {
  const auto text = writeSettings(settings);
  return text && write(*text, file);
}

std::optional<Settings> Files::load(const fs::path& file) {
  const auto content = readWhole(file);
  if (!content) return std::nullopt;
  return readSettings(*content);
}

bool Files::switched() const {
  std::error_code unknown;  // a marker that can't be looked at counts as none
  return fs::exists(fs::symlink_status(mark(), unknown));
}

bool Files::write(std::string_view data, const fs::path& file) const {
  const fs::path temporary = dir / fs::path(".").concat(file.filename().native()).concat(".tmp");
  const auto unnamed = writeUnnamed(data, dir, temporary);
  if (!(unnamed ? *unnamed : writeNamed(data, temporary))) return false;
  if (std::rename(temporary.c_str(), file.c_str()) != 0) return false;
  syncFolder(dir);
  return true;
}

Files Files::at(const fs::path& dir) {
  std::error_code ignored;  // a folder that can't be made shows later as a failed write
  fs::create_directories(dir, ignored);
  return Files{.dir = dir};
}

}  // namespace orvel
