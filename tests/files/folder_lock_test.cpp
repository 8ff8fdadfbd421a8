// The folder lock between processes: a holder keeps others waiting up to their
// bound or their stop; a folder without room for the lock file is used without
// one; a planted lock file that is no regular file refuses the lock.
#include "files/folder_lock.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>

namespace orvel {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

class FolderLockTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ::alarm(30);  // a lock that never gives up fails the test
    fs::create_directories(folder.dir);
  }
  void TearDown() override {
    ::alarm(0);
    fs::remove_all(folder.dir);
  }
  const Files folder{fs::temp_directory_path() / ("orvel-lock-" + std::to_string(::getpid()))};
};

// The state a child process finds the folder in within the wait.
LockState forAnother(const Files& folder, milliseconds wait) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(static_cast<int>(FolderLock(folder, wait).state()));
  int status = 0;
  ::waitpid(child, &status, 0);
  return static_cast<LockState>(WEXITSTATUS(status));
}

TEST_F(FolderLockTest, OneProcessAtATime) {
  {
    const FolderLock held(folder);
    EXPECT_EQ(held.state(), LockState::held);
    EXPECT_EQ(forAnother(folder, milliseconds(100)), LockState::busy);
    // One that is told to stop gives up at once, whatever its patience.
    EXPECT_EQ(FolderLock(folder, std::chrono::hours(1), [] { return true; }).state(),
              LockState::stopped);
  }
  EXPECT_EQ(forAnother(folder, milliseconds(100)), LockState::held);  // released with its holder
  EXPECT_EQ(FolderLock(Files{folder.dir / "gone"}).state(), LockState::unlocked);
}

TEST_F(FolderLockTest, APlantedLockFileIsRefused) {
  fs::create_directory(folder.lock());
  EXPECT_EQ(FolderLock(folder).state(), LockState::refused);
  fs::remove(folder.lock());
  ASSERT_EQ(::mkfifo(folder.lock().c_str(), 0600), 0);
  EXPECT_EQ(FolderLock(folder).state(), LockState::refused);
  fs::remove(folder.lock());
  fs::create_symlink(folder.orvel(), folder.lock());
  EXPECT_EQ(FolderLock(folder).state(), LockState::refused);
}

}  // namespace
}  // namespace orvel
