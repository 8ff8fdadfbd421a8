#include "files/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

#include "files/file_descriptor.h"
#include "files/regular_file.h"
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

// Whether nothing is at the path now: a file, link, FIFO or empty folder there
// is removed; a folder with something in it stays.
bool clear(const fs::path& path) {
  if (::unlink(path.c_str()) == 0 || errno == ENOENT) return true;
  if (::rmdir(path.c_str()) == 0) return true;
  struct stat entry {};  // a read-only file system refuses even to remove nothing
  return ::lstat(path.c_str(), &entry) != 0 && errno == ENOENT;
}

// The data in a new file at the temporary's path, which nothing holds: a file
// that appeared there since is never opened. A part written before a failure
// is removed again.
bool writeNamed(std::string_view data, const fs::path& temporary) {
  FileDescriptor fd = openRegular(temporary, O_WRONLY | O_CREAT | O_EXCL, 0666);
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
// then leaves no part of a file in the folder, not even a temporary one. The
// name is given through /proc. Nothing where no unnamed file can be made or
// named (no /proc mounted); the caller then writes the named way.
std::optional<bool> writeUnnamed(std::string_view data, const fs::path& dir,
                                 const fs::path& temporary) {
#ifdef O_TMPFILE
  FileDescriptor fd(::open(openable(dir).c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0666));
  if (!fd) return std::nullopt;
  if (!writeAll(fd.get(), data) || ::fsync(fd.get()) != 0) return false;
  const std::string self = "/proc/self/fd/" + std::to_string(fd.get());
  if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, temporary.c_str(), AT_SYMLINK_FOLLOW) != 0) {
    return std::nullopt;
  }
  return fd.close();
#else
  (void)data, (void)dir, (void)temporary;
  return std::nullopt;
#endif
}

// After a rename or a removal the folder entry itself must reach the disk too.
void syncFolder(const fs::path& dir) {
  FileDescriptor fd(::open(openable(dir).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd) ::fsync(fd.get());
}

}  // namespace

bool Files::save(const Settings& settings, const fs::path& file, FolderSync sync) const {
  const auto text = writeSettings(settings);
  return text && write(*text, file, sync);
}

std::optional<std::string> Files::read(const fs::path& file) {
  const FileDescriptor fd = openRegular(file, O_RDONLY);
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

std::optional<Settings> Files::load(const fs::path& file) {
  const auto content = read(file);
  if (!content) return std::nullopt;
  return readSettings(*content);
}

bool Files::switched() const {
  std::error_code unknown;  // a marker that can't be looked at counts as none
  return fs::exists(fs::symlink_status(mark(), unknown));
}

bool Files::present() const {
  struct stat status {};
  return ::stat(openable(dir).c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool Files::write(std::string_view data, const fs::path& file, FolderSync sync) const {
  const fs::path temporary = dir / fs::path(".").concat(file.filename().native()).concat(".tmp");
  // Whatever is at the temporary's path (an old temporary, a planted link or
  // FIFO) goes first, never opened or followed: neither way below replaces an entry.
  if (!clear(temporary)) return false;
  const auto unnamed = writeUnnamed(data, dir, temporary);
  if (!(unnamed ? *unnamed : writeNamed(data, temporary))) return false;
  if (std::rename(temporary.c_str(), file.c_str()) != 0) return false;
  if (sync == FolderSync::now) syncFolder(dir);
  return true;
}

bool Files::remove(const fs::path& file) const {
  if (!clear(file)) return false;
  syncFolder(dir);
  return true;
}

Files Files::at(const fs::path& dir) {
  std::error_code ignored;  // a folder that can't be made shows later as a failed write
  fs::create_directories(dir, ignored);
  return Files{.dir = dir};
}

}  // namespace orvel
