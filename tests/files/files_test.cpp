// The folder's files: nothing planted at a file's path (a FIFO, a link, a
// folder) makes a read or a write wait or go astray, a write needs no /proc,
// and a removal says whether the entry is gone.
#include "files/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>

#ifdef __linux__
#include <sched.h>
#include <sys/mount.h>
#endif

namespace orvel {
namespace {

namespace fs = std::filesystem;

// A folder of its own for each test; a test that hangs is ended by the alarm.
class FilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ::alarm(30);
    fs::create_directories(files.dir);
  }
  void TearDown() override {
    ::alarm(0);
    fs::remove_all(files.dir);
  }
  const Files files{fs::temp_directory_path() / ("orvel-files-" + std::to_string(::getpid()))};
};

TEST_F(FilesTest, OnlyRegularFilesAreRead) {
  ASSERT_EQ(::mkfifo(files.orvel().c_str(), 0600), 0);  // no writer: a plain open would wait
  fs::create_directory(files.snapshot());
  ASSERT_TRUE(files.write("outside", files.dir / "outside"));
  fs::create_symlink("outside", files.mark());
  EXPECT_FALSE(Files::read(files.orvel()));
  EXPECT_FALSE(Files::read(files.snapshot()));
  EXPECT_FALSE(Files::read(files.mark()));
  EXPECT_EQ(Files::read(files.dir / "outside"), "outside");
}

// How many writes went wrong around what is planted at the temporary's path: a
// FIFO, a link or an empty folder gives way; a folder with something in it
// fails the write and leaves the file as it was.
int writesAroundPlants(const Files& files) {
  const fs::path temporary = files.dir / ".snapshot.json.tmp";
  const std::function<void()> plants[] = {
      [&] { ::mkfifo(temporary.c_str(), 0600); },
      [&] { fs::create_symlink(files.orvel(), temporary); },
      [&] { fs::create_directory(temporary); },
  };
  int wrong = 0;
  for (const auto& plant : plants) {
    plant();
    const std::string data = "data " + std::to_string(wrong++);
    if (files.write(data, files.snapshot()) && Files::read(files.snapshot()) == data &&
        !fs::exists(temporary) && !fs::exists(files.orvel())) {
      --wrong;
    }
  }
  const auto before = Files::read(files.snapshot());
  fs::create_directories(temporary / "inside");
  return wrong + (files.write("lost", files.snapshot()) || Files::read(files.snapshot()) != before);
}

TEST_F(FilesTest, AnythingAtTheTemporaryGivesWay) {
  EXPECT_EQ(writesAroundPlants(files), 0);
}

TEST_F(FilesTest, RemoveSaysWhetherTheEntryIsGone) {
  ASSERT_TRUE(files.write("now", files.mark()));
  EXPECT_TRUE(files.remove(files.mark()));
  EXPECT_FALSE(fs::exists(files.mark()));
  EXPECT_TRUE(files.remove(files.mark()));  // nothing there
  fs::create_directories(files.mark() / "inside");
  EXPECT_FALSE(files.remove(files.mark()));
  EXPECT_TRUE(files.present());
  fs::remove_all(files.dir);
  EXPECT_FALSE(files.present());
  EXPECT_FALSE(fs::exists(files.dir));  // looking never makes it
}

#ifdef __linux__
// The exit status of `body` in a child with a mount namespace of its own, once
// `mounts` succeeded there; 77 where that can't be (not root).
int alone(const std::function<bool()>& mounts, const std::function<int()>& body) {
  const pid_t child = ::fork();
  if (child == 0) {
    const bool ready = ::unshare(CLONE_NEWNS) == 0 &&
                       ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                       mounts();
    ::_exit(ready ? body() : 77);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(FilesTest, WritesWithoutProc) {
  const int status = alone([] { return ::mount("none", "/proc", "tmpfs", 0, nullptr) == 0; },
                           [&] { return writesAroundPlants(files); });
  if (status == 77) GTEST_SKIP() << "hiding /proc needs root";
  EXPECT_EQ(status, 0);
}

TEST_F(FilesTest, RemoveOnAReadOnlyFileSystem) {
  const char* dir = files.dir.c_str();
  const int status = alone(
      [&] {
        return ::mount("none", dir, "tmpfs", 0, nullptr) == 0 && files.write("now", files.mark()) &&
               ::mount(nullptr, dir, nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
      },
      [&] { return files.remove(files.mark())    ? 1
                   : files.remove(files.orvel()) ? 0
                                                 : 2; });
  if (status == 77) GTEST_SKIP() << "mounting needs root";
  EXPECT_EQ(status, 0);  // the marker stays, and the missing file counts as gone
}
#endif

}  // namespace
}  // namespace orvel
