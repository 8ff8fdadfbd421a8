#include "engine/restore.h"

#include <stdlib.h>

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "engine/memory_sound_system.h"

namespace orvel {
namespace {

std::filesystem::path freshFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "restore-XXXXXX").string();
  return mkdtemp(pattern.data());
}

void put(const std::filesystem::path& file, const std::string& text) {
  std::ofstream(file, std::ios::binary) << text;
}

std::string contentOf(const std::filesystem::path& file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

struct Case {
  std::optional<std::string> snapshot;  // snapshot.json, when there is one
  std::string line;
};

TEST(Restore, AppliesTheSnapshotRemovesTheMarkerAndSaysOneLine) {
  const Case cases[] = {
      {std::nullopt, R"({"applied":[],"skipped":["no snapshot to put back"],"type":"restored"})"},
      {"{\"output\":", R"({"applied":[],"skipped":["no snapshot to put back"],"type":"restored"})"},
      {"{}", R"({"applied":[],"skipped":[],"type":"restored"})"},
      {R"({"input":{"uid":"usb"},"output":{"name":"Desk Speakers","rate":48000,"uid":"spk"}})",
       R"({"applied":["the output Desk Speakers at 48000 Hz","the input usb as the default"],)"
       R"("skipped":[],"type":"restored"})"},
  };
  for (const Case& c : cases) {
    MemorySoundSystem sound = deskMachine();
    const Files folder{freshFolder()};
    put(folder.mark(), "2024-05-01T10:00:00Z");
    if (c.snapshot) put(folder.snapshot(), *c.snapshot);
    testing::internal::CaptureStdout();
    restore(sound, folder);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), c.line + "\n");
    EXPECT_FALSE(std::filesystem::exists(folder.mark()));
    if (c.snapshot) {
      EXPECT_EQ(contentOf(folder.snapshot()), *c.snapshot);
    }
    std::filesystem::remove_all(folder.dir);
  }
}

}  // namespace
}  // namespace orvel
