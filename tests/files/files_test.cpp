#include "files/files.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

namespace orvel {
namespace {

namespace fs = std::filesystem;

class FilesTest : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/orvel-files-XXXXXX";
    root_ = mkdtemp(pattern);
  }
  void TearDown() override { fs::remove_all(root_); }

  static std::string contents(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  std::vector<std::string> entries() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(root_)) names.push_back(entry.path().filename());
    return names;
  }

  fs::path root_;
};

TEST_F(FilesTest, FindsTheFolderAfterTheFirstFlagAndMakesIt) {
  const fs::path deep = root_ / "a" / "b";
  const Files found = files("--restore", {"tool", "--restore", deep, "--restore", "other"});
  EXPECT_EQ(found.dir, deep);
  EXPECT_TRUE(fs::is_directory(deep));
  EXPECT_EQ(files("--save", {"--save", "--switch"}).dir, "--switch");
  fs::remove_all("--switch");
  EXPECT_EQ(found.mark(), deep / "switched");
}

TEST_F(FilesTest, SavesSortedCompactTextAndLoadsItBack) {
  const Files folder{root_};
  const Settings settings{.output = Side{.uid = "a", .volume = VolumeMap{{"0", 0.5}}},
                          .input = Side{.uid = "b", .rate = 44100}};
  ASSERT_TRUE(folder.save(settings, folder.orvel()));
  EXPECT_EQ(contents(folder.orvel()),
            R"({"input":{"rate":44100.0,"uid":"b"},"output":{"uid":"a","volume":{"0":0.5}}})");
  EXPECT_EQ(Files::load(folder.orvel()), settings);
  EXPECT_EQ(entries(), std::vector<std::string>{"orvel.json"});  // no temporary left
}

TEST_F(FilesTest, LoadGivesNothingForMissingEmptyOrForeignFiles) {
  const Files folder{root_};
  EXPECT_FALSE(Files::load(folder.snapshot()));
  for (const char* text : {"", "[1]", "{\"output\":{}}"}) {
    ASSERT_TRUE(folder.write(text, folder.snapshot()));
    EXPECT_FALSE(Files::load(folder.snapshot())) << text;
  }
}

TEST_F(FilesTest, NeverFollowsALinkAtTheTemporaryPath) {
  const Files folder{root_};
  const fs::path victim = root_ / "victim";
  std::ofstream(victim) << "keep";
  fs::create_symlink(victim, root_ / ".switched.tmp");
  ASSERT_TRUE(folder.write("2026-11-23T10:00:00Z", folder.mark()));
  EXPECT_EQ(contents(victim), "keep");
  EXPECT_EQ(contents(folder.mark()), "2026-11-23T10:00:00Z");
  EXPECT_FALSE(fs::exists(root_ / ".switched.tmp"));
}

}  // namespace
}  // namespace orvel
