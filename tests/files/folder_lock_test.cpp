// The folder lock between processes: a holder keeps others waiting up to their
// bound; a folder without room for the lock file is used without one.
#include "files/folder_lock.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>

namespace orvel {
namespace {

using std::chrono::milliseconds;

// Whether a child process finds the folder busy within the wait.
bool busyForAnother(const Files& folder, milliseconds wait) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(FolderLock(folder, wait).busy() ? 1 : 0);
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 1;
}

TEST(FolderLock, OneProcessAtATime) {
  const auto dir =
      std::filesystem::temp_directory_path() / ("orvel-lock-" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  {
    const FolderLock held(Files{dir});
    EXPECT_FALSE(held.busy());
    EXPECT_TRUE(busyForAnother(Files{dir}, milliseconds(100)));
  }
  EXPECT_FALSE(busyForAnother(Files{dir}, milliseconds(100)));  // released with its holder
  std::filesystem::remove_all(dir);
  EXPECT_FALSE(FolderLock(Files{dir / "gone"}).busy());  // no lock file: none needed
}

}  // namespace
}  // namespace orvel
