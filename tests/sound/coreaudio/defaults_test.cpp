// Strings, unknown UIDs, defaults, presence and the checks before any write.
#include <functional>

#include "sound/coreaudio/sample_machine.h"
#include "sound/coreaudio/simulated/machine_json.h"

namespace orvel {
namespace {

using sim::Fault;
using sim::Function;

TEST_F(CoreAudioTest, NoStringOutlivesAnyOperationWhateverFails) {
  const std::vector<std::function<void(const std::string&)>> operations = {
      [&](const std::string&) { audio.defaultUID(Direction::output); },
      [&](const std::string&) { audio.defaultUID(Direction::input); },
      [&](const std::string& uid) { audio.setDefault(Direction::output, uid); },
      [&](const std::string& uid) { audio.exists(uid, Direction::input); },
      [&](const std::string& uid) { audio.name(uid); },
      [&](const std::string& uid) { audio.rate(uid); },
      [&](const std::string& uid) { audio.setRate(uid, 48000); },
      [&](const std::string& uid) { audio.layout(uid); },
      [&](const std::string& uid) { audio.setLayout(uid, stereoLayout); },
      [&](const std::string& uid) { audio.volume(uid); },
      [&](const std::string& uid) { audio.setVolume(uid, "1", 0.5); },
      [&](const std::string&) { audio.devices(); },
  };
  auto runAll = [&](const std::string& what) {
    for (const std::string uid : {"speakers-uid", "usb-uid", "mic-uid", "no-such-uid"})
      for (std::size_t i = 0; i < operations.size(); ++i) {
        operations[i](uid);
        EXPECT_EQ(sim::liveStrings(), 0u) << what << ", " << uid << ", operation " << i;
      }
  };
  for (const Fault fault : {Fault::missing, Fault::unreadable, Fault::fixed, Fault::refused}) {
    for (const std::string name :
         {"", "devices", "defaultOutput", "defaultInput", "translate", "uid", "name", "output",
          "input", "rate", "rateRanges", "layout", "volume"}) {
      machine = sampleMachine();
      machine.faults[name] = fault;  // "": no fault; a device name on the machine is ignored
      for (sim::Device& d : machine.devices) d.faults[name] = fault;
      runAll(name);
    }
  }
}

TEST_F(CoreAudioTest, AnUnknownUIDEndsEveryOperationAtTheTranslation) {
  const std::string unknown = "no-such-uid";
  machine.faults["translate"] = Fault::unreadable;  // a failed translation counts alike
  for (int failing = 0; failing < 2; ++failing) {
    machine.calls.clear();
    EXPECT_FALSE(audio.setDefault(Direction::output, unknown));
    EXPECT_FALSE(audio.exists(unknown, Direction::output));
    EXPECT_EQ(audio.name(unknown), std::nullopt);
    EXPECT_EQ(audio.rate(unknown), std::nullopt);
    EXPECT_FALSE(audio.setRate(unknown, 48000));
    EXPECT_EQ(audio.layout(unknown), std::nullopt);
    EXPECT_FALSE(audio.setLayout(unknown, stereoLayout));
    EXPECT_TRUE(audio.volume(unknown).empty());
    EXPECT_FALSE(audio.setVolume(unknown, "0", 0.5));
    EXPECT_EQ(machine.calls.size(), 9u);
    EXPECT_EQ(machine.count(Function::getPropertyData, kAudioHardwarePropertyTranslateUIDToDevice),
              9u);
    machine.faults.clear();  // second round: translated to object 0, as macOS does
  }
}

TEST_F(CoreAudioTest, AUIDHoldingANulNamesNoDevice) {
  const std::string uid("speakers-uid\0x", 14);  // cut at the NUL it would be the speakers'
  EXPECT_FALSE(audio.exists(uid, Direction::output));
  EXPECT_FALSE(audio.setDefault(Direction::output, uid));
  EXPECT_EQ(audio.name(uid), std::nullopt);
  EXPECT_EQ(machine.calls.size(), 0u);
}

TEST_F(CoreAudioTest, EveryWriteChecksSettableFirstAndChangesNothingWhenRefused) {
  const std::vector<std::pair<std::string, std::function<bool()>>> setters = {
      {"defaultOutput", [&] { return audio.setDefault(Direction::output, "usb-uid"); }},
      {"rate", [&] { return audio.setRate("usb-uid", 44100); }},
      {"layout", [&] { return audio.setLayout("usb-uid", stereoLayout); }},
      {"volume", [&] { return audio.setVolume("usb-uid", "1", 0.5); }},
  };
  const std::string before = sim::machineText(sampleMachine());
  for (const auto& [property, set] : setters) {
    for (const Fault fault : {Fault::missing, Fault::fixed, Fault::refused}) {
      machine = sampleMachine();
      (property == "defaultOutput" ? machine.faults : device("usb-uid").faults)[property] = fault;
      EXPECT_FALSE(set()) << property;
      machine.faults.clear();
      device("usb-uid").faults.clear();
      EXPECT_EQ(sim::machineText(machine), before) << property;
      EXPECT_EQ(machine.count(Function::setPropertyData), fault == Fault::refused ? 1u : 0u);
    }
    machine = sampleMachine();
    EXPECT_TRUE(set()) << property;
    EXPECT_NE(sim::machineText(machine), before) << property;
  }
}

TEST_F(CoreAudioTest, ExistsNeedsChannelsInThatDirection) {
  machine.find(3)->output = {{0, 0}};
  EXPECT_TRUE(audio.exists("speakers-uid", Direction::output));
  EXPECT_FALSE(audio.exists("speakers-uid", Direction::input));  // no buffers
  EXPECT_FALSE(audio.exists("mic-uid", Direction::output));      // no configuration
  EXPECT_FALSE(audio.exists("usb-uid", Direction::output));      // buffers without channels
}

}  // namespace
}  // namespace orvel
