// The file-backed machine that orvel-sound-sim runs on.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "sound/coreaudio/core_audio_system.h"
#include "sound/coreaudio/sample_machine.h"
#include "sound/coreaudio/simulated/machine_file.h"
#include "sound/coreaudio/simulated/machine_json.h"

namespace orvel {
namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

class MachineFileTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "orvel-sim-XXXXXX").string();
    folder = ::mkdtemp(pattern.data());
    path = folder / "machine.json";
    ::setenv("ORVEL_SOUND_SIM_MACHINE", path.c_str(), 1);
  }
  void TearDown() override {
    ::unsetenv("ORVEL_SOUND_SIM_MACHINE");
    fs::remove_all(folder);
    EXPECT_EQ(sim::liveStrings(), 0u);
  }

  fs::path folder;
  fs::path path;
  CoreAudioSystem audio;
};

TEST_F(MachineFileTest, ChangesLastInTheFile) {
  ASSERT_TRUE(sim::saveMachine(sampleMachine(), path.string()));
  EXPECT_EQ(audio.devices().size(), 3u);
  EXPECT_TRUE(audio.setDefault(Direction::output, "usb-uid"));
  EXPECT_TRUE(audio.setVolume("usb-uid", "1", 0.75));
  EXPECT_EQ(audio.defaultUID(Direction::output), "usb-uid");
  const sim::Machine saved = sim::loadMachine(path.string());
  EXPECT_EQ(saved.defaultOutput, 3u);
  EXPECT_EQ(saved.devices[1].volume.at(1), 0.75f);

  const std::string before = contents(path);
  EXPECT_FALSE(audio.setRate("usb-uid", 50000));  // refused: the file stays as it was
  EXPECT_EQ(contents(path), before);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

TEST_F(MachineFileTest, NoFileIsAnEmptyMachine) {
  EXPECT_TRUE(audio.devices().empty());
  EXPECT_EQ(audio.defaultUID(Direction::output), std::nullopt);
  EXPECT_FALSE(audio.setDefault(Direction::output, "speakers-uid"));
  EXPECT_FALSE(fs::exists(path));
}

TEST(MachineJson, MalformedTextNeverFails) {
  struct Case {
    const char* text;
    std::size_t devices;
  };
  const Case cases[] = {
      {"", 0},
      {"{\"devices\": [", 0},
      {"[1, 2]", 0},
      {"{\"devices\": {\"id\": 2}}", 0},
      {"{\"devices\": [{\"id\": 1}, {\"id\": \"5\"}, {\"id\": 2.5}, 7, {\"id\": 5}, {\"id\": 5}]}",
       1},
  };
  for (const Case& c : cases) EXPECT_EQ(sim::machineFromText(c.text).devices.size(), c.devices);

  const sim::Machine odd = sim::machineFromText(
      R"({"defaultOutput": -2, "devices": [{"id": 2, "uid": 7, "output": [2, -1], "input": [1],
          "rate": "fast", "rateRanges": [[1]], "layout": "A=AA", "volume": {"0": 1e300},
          "fixed": "rate", "faults": {"name": "broken", "layout": "refused"}}]})");
  const sim::Device& device = odd.devices.at(0);
  EXPECT_EQ(odd.defaultOutput, 0u);
  EXPECT_FALSE(device.uid || device.output || device.rate || device.rateRanges || device.layout);
  EXPECT_EQ(device.input, std::vector<UInt32>{1});
  EXPECT_TRUE(device.volume.empty());
  EXPECT_EQ(device.faults, (sim::Faults{{"layout", sim::Fault::refused}}));
}

TEST(MachineJson, TextReadsBackAsTheSameMachine) {
  sim::Machine machine = sampleMachine();
  machine.faults["defaultInput"] = sim::Fault::fixed;
  machine.devices[0].faults["volume.1"] = sim::Fault::unreadable;
  const std::string text = sim::machineText(machine);
  EXPECT_EQ(sim::machineText(sim::machineFromText(text)), text);
  EXPECT_NE(text.find(R"("fixed": [)"), std::string::npos);
}

}  // namespace
}  // namespace orvel
