#include "files/folder_lock.h"

#include "sound/settle_budget.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

#include "files/regular_file.h"

namespace orvel {
namespace {

namespace fs = std::filesystem;

// The folder where this user keeps small files for the running session, only
// theirs; nothing where the system names none.
std::optional<fs::path> userRuntimeFolder() {
#if defined(__APPLE__)
  char folder[1024];
  const std::size_t size = ::confstr(_CS_DARWIN_USER_TEMP_DIR, folder, sizeof folder);
  if (size > 0 && size <= sizeof folder) return fs::path(folder);
#else
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  if (folder && folder[0] == '/') return fs::path(folder);
#endif
  return std::nullopt;
}

// The file locked in place of ".lock" where the folder's file system has no
// locks: the same for every command of this user on this machine that works in
// the folder. Nothing when the folder can't be looked at.
std::optional<fs::path> runtimeLock(const Files& folder) {
  struct stat status {};
  if (::stat((folder.dir / ".").c_str(), &status) != 0) return std::nullopt;
  const std::string name =
      std::to_string(status.st_dev) + "-" + std::to_string(status.st_ino) + ".lock";
  if (const auto own = userRuntimeFolder()) return *own / ("orvel-sound-" + name);
  std::error_code unknown;  // the shared temporary folder: the user's id in the name
  fs::path shared = fs::temp_directory_path(unknown);
  if (unknown) shared = "/tmp";
  return shared / ("orvel-sound-" + std::to_string(::geteuid()) + "-" + name);
}

bool noLocksHere(int error) {
  return error == ENOLCK || error == ENOTSUP || error == EOPNOTSUPP;
}

}  // namespace

std::chrono::steady_clock::duration FolderLock::patience() {
  constexpr std::uint32_t most = 3'600'000;  // an hour
  const char* text = std::getenv("ORVEL_SOUND_LOCK_PATIENCE_MS");
  const std::string_view digits = text ? text : "";
  std::uint32_t milliseconds = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), milliseconds);
  if (digits.empty() || error != std::errc() || end != digits.data() + digits.size() ||
      milliseconds > most) {
    // Beyond the longest a switch holds the folder: the changes' settle budget,
    // and a margin for the sound server's own deadlines (2 s a call, a few of
    // which a switch may spend before a server that stopped answering is let be).
    return settleBudget + std::chrono::seconds(15);
  }
  return std::chrono::milliseconds(milliseconds);
}

FolderLock::FolderLock(const Files& folder, std::chrono::steady_clock::duration wait,
                       std::function<bool()> stop) {
  const auto end = std::chrono::steady_clock::now() + wait;
  auto state = lockAt(folder.lock(), end, stop);
  if (!state) {
    const auto elsewhere = runtimeLock(folder);
    if (elsewhere) state = lockAt(*elsewhere, end, stop);
  }
  state_ = state.value_or(LockState::unlocked);
  if (state_ != LockState::held) file_ = FileDescriptor();
}

std::optional<LockState> FolderLock::lockAt(const fs::path& path,
                                            std::chrono::steady_clock::time_point end,
                                            const std::function<bool()>& stop) {
  // Never removed, as another process may be waiting on it.
  file_ = openRegular(path, O_RDONLY | O_CREAT, 0666);
  if (!file_) {
    struct stat status {};
    const bool there = ::lstat(path.c_str(), &status) == 0;
    return there ? LockState::refused : LockState::unlocked;
  }
  while (::flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
    if (noLocksHere(errno)) return std::nullopt;
    if (errno != EWOULDBLOCK && errno != EINTR) return LockState::unlocked;
    if (std::chrono::steady_clock::now() >= end) return LockState::busy;
    if (stop && stop()) return LockState::stopped;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return LockState::held;
}

}  // namespace orvel
