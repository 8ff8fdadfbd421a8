// The file-backed machine that orvel-sound-sim runs on.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "sound/coreaudio/sample_machine.h"
#include "sound/coreaudio/simulated/machine_file.h"

namespace orvel {
namespace {

TEST(MachineFileTest, AChangePersistsAndGarbageIsAnEmptyMachine) {
  char folder[] = "/tmp/orvel-sim-XXXXXX";
  ASSERT_NE(::mkdtemp(folder), nullptr);
  const std::string path = std::string(folder) + "/machine.json";
  ::setenv("ORVEL_SOUND_SIM_MACHINE", path.c_str(), 1);
  ASSERT_TRUE(sim::saveMachine(sampleMachine(), path));
  EXPECT_TRUE(CoreAudioSystem().setDefault(Direction::output, "usb-uid"));
  EXPECT_EQ(CoreAudioSystem().defaultUID(Direction::output), "usb-uid");
  std::ofstream(path) << "{\"devices\": [";
  EXPECT_TRUE(CoreAudioSystem().devices().empty());
  ::unsetenv("ORVEL_SOUND_SIM_MACHINE");
  std::filesystem::remove_all(folder);
  EXPECT_EQ(sim::liveStrings(), 0u);
}

}  // namespace
}  // namespace orvel
