// The CoreAudio backend over a small simulated Mac, and the check that no
// CFString outlives a test, whatever path its operations took.
#include <chrono>
#include <functional>

#include <gtest/gtest.h>

#include "sound/base64.h"
#include "sound/coreaudio/core_audio_system.h"
#include "sound/coreaudio/simulated/machine.h"
#include "sound/coreaudio/simulated/machine_json.h"
#include "sound/settle_budget.h"

namespace orvel {
namespace {

using sim::Fault;
using sim::Function;

// The speakers' layout: stereo by channel coordinates, its base64 holds a "/".
const std::string stereoLayout =
    "AAAAAAAAAAACAAAAAQAAAAEAAAAAAIC/AAAAAAAAAAACAAAAAQAAAAAAgD8AAAAAAAAAAA==";

// Speakers (the default output, a main volume control beside channel ones), a USB
// interface (two output buffers, channel controls only) and a microphone (the
// default input, a non-ASCII name, no output side).
sim::Machine sampleMachine() {
  return sim::machineFromText(R"({"defaultOutput": 2, "defaultInput": 4, "devices": [
    {"id": 2, "uid": "speakers-uid", "name": "Speakers", "output": [2], "input": [],
     "rate": 44100, "rateRanges": [[44100, 44100], [48000, 48000], [88200, 96000]],
     "layout": "AAAAAAAAAAACAAAAAQAAAAEAAAAAAIC/AAAAAAAAAAACAAAAAQAAAAAAgD8AAAAAAAAAAA==",
     "volume": {"0": 0.5, "1": 0.25, "2": 0.75}},
    {"id": 3, "uid": "usb-uid", "name": "USB Interface", "output": [2, 2], "input": [2],
     "rate": 48000, "rateRanges": [[44100, 44100], [48000, 48000]],
     "layout": "AgBlAAAAAAAAAAAA", "volume": {"1": 0.1, "2": 0.2}},
    {"id": 4, "uid": "mic-uid", "name": "Micro de Zoé", "input": [1], "rate": 48000,
     "rateRanges": [[48000, 48000]]}]})");
}

class CoreAudioTest : public testing::Test {
 protected:
  void SetUp() override { sim::use(machine); }
  void TearDown() override {
    sim::useFile();
    EXPECT_EQ(sim::liveStrings(), 0u) << "a CFString was not released";
  }
  sim::Device& device(const std::string& uid) { return *machine.findUID(uid); }

  sim::Machine machine = sampleMachine();
  CoreAudioSystem audio;
};

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
  for (const Fault fault : {Fault::missing, Fault::unreadable, Fault::fixed, Fault::refused}) {
    for (const std::string name :
         {"", "devices", "defaultOutput", "defaultInput", "translate", "uid", "name", "output",
          "input", "rate", "rateRanges", "layout", "volume"}) {
      machine = sampleMachine();
      machine.faults[name] = fault;  // "": no fault; a device name on the machine is ignored
      for (sim::Device& d : machine.devices) d.faults[name] = fault;
      for (const std::string uid : {"speakers-uid", "usb-uid", "mic-uid", "no-such-uid"}) {
        for (std::size_t i = 0; i < operations.size(); ++i) {
          operations[i](uid);
          EXPECT_EQ(sim::liveStrings(), 0u) << name << ", " << uid << ", operation " << i;
        }
      }
    }
  }
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

TEST_F(CoreAudioTest, DevicesRecordEveryDeviceAndFallBackPerValue) {
  device("usb-uid").name = "🎧 Casque";  // characters of two UTF-16 units
  EXPECT_EQ(audio.devices(),
            (std::vector<DeviceRecord>{
                {"speakers-uid", "Speakers", 2, 0, 44100, {44100, 48000, 88200, 96000}},
                {"usb-uid", "🎧 Casque", 4, 2, 48000, {44100, 48000}},  // buffers summed
                {"mic-uid", "Micro de Zoé", 0, 1, 48000, {48000}},
            }));
  device("speakers-uid").faults["uid"] = Fault::unreadable;  // left out, the others keep order
  device("usb-uid").faults["name"] = Fault::unreadable;
  device("usb-uid").faults["output"] = Fault::unreadable;
  device("usb-uid").rate.reset();
  device("mic-uid").faults["rate"] = Fault::unreadable;
  device("mic-uid").rateRanges.reset();
  EXPECT_EQ(audio.devices(), (std::vector<DeviceRecord>{{"usb-uid", "", 0, 2, 0, {44100, 48000}},
                                                        {"mic-uid", "Micro de Zoé", 0, 1, 0, {}}}));
  machine.faults["devices"] = Fault::unreadable;
  EXPECT_TRUE(audio.devices().empty());
  device("mic-uid").rateRanges = {{96000, 96000}, {44100, 48000}, {48000, 48000}};
  EXPECT_EQ(audio.rates(4), (std::vector<double>{96000, 44100, 48000, 48000}));  // unsorted
}

TEST_F(CoreAudioTest, VolumeMapFollowsTheControls) {
  auto channelsOnly = [](std::vector<UInt32> buffers, UInt32 controls) {
    sim::Machine m = sampleMachine();
    m.find(3)->output = std::move(buffers);
    m.find(3)->volume.clear();
    for (UInt32 element = 1; element <= controls; ++element) m.find(3)->volume[element] = 0.5f;
    return m;
  };
  EXPECT_EQ(audio.volume("speakers-uid"), (VolumeMap{{"0", 0.5}}));  // the main control wins
  EXPECT_EQ(audio.volume("usb-uid"), (VolumeMap{{"1", double{0.1f}}, {"2", double{0.2f}}}));
  EXPECT_TRUE(audio.volume("mic-uid").empty());

  machine = channelsOnly({}, 1);  // no channels: element 1 is still tried
  EXPECT_EQ(audio.volume("usb-uid"), (VolumeMap{{"1", 0.5}}));
  machine = channelsOnly({24}, 24);  // at most 16 channels
  EXPECT_EQ(audio.volume("usb-uid").size(), 16u);
  machine = channelsOnly({2, 1}, 3);
  device("usb-uid").faults["volume.2"] = Fault::unreadable;  // left out, the walk goes on
  EXPECT_EQ(audio.volume("usb-uid"), (VolumeMap{{"1", 0.5}, {"3", 0.5}}));
}

TEST_F(CoreAudioTest, LayoutAndVolumeWritesTakeOnlyWhatTheControlsHold) {
  EXPECT_FALSE(audio.setLayout("usb-uid", "AgBlAAAAAAAAAAA"));  // not base64: nothing asked
  EXPECT_FALSE(audio.setVolume("speakers-uid", "1.0", 0.5));    // not a key: nothing asked
  EXPECT_EQ(machine.calls.size(), 2u);                          // the translations
  EXPECT_TRUE(audio.setLayout("usb-uid", *audio.layout("speakers-uid")));
  EXPECT_EQ(device("usb-uid").layout, base64Decode(stereoLayout));
  EXPECT_FALSE(audio.setLayout("usb-uid", "AAAAAAAAAAABAAAA"));  // counts one description, has none
  EXPECT_EQ(device("usb-uid").layout, base64Decode(stereoLayout));
  // sizeof(AudioChannelLayout): a stereo tag with room for one description, as drivers give it.
  const std::string roomy = "AgBlAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=";
  EXPECT_TRUE(audio.setLayout("usb-uid", roomy));
  EXPECT_EQ(audio.layout("usb-uid"), roomy);
  EXPECT_FALSE(audio.setVolume("speakers-uid", "7", 0.5));  // no control on element 7
  EXPECT_EQ(machine.count(Function::setPropertyData), 3u);
  // A control takes 0..1 only, and as one of its steps: a read after a set gives
  // what the control holds, not what was asked.
  for (const auto& [wanted, held] : {std::pair{1.5, 1.0f}, {1e300, 1.0f}, {-2.0, 0.0f}}) {
    EXPECT_TRUE(audio.setVolume("speakers-uid", "2", wanted));
    EXPECT_EQ(device("speakers-uid").volume[2], held) << wanted;
  }
  device("usb-uid").volumeSteps = 64;
  EXPECT_TRUE(audio.setVolume("usb-uid", "1", 0.3));
  EXPECT_EQ(audio.volume("usb-uid").at("1"), 0.296875);
}

TEST_F(CoreAudioTest, NotificationsLeaveTheRunLoopBeforeAnyOtherCall) {
  CoreAudioSystem fresh;
  fresh.devices();
  fresh.setRate("usb-uid", 44100);
  ASSERT_FALSE(machine.calls.empty());
  EXPECT_EQ(machine.calls[0].function, Function::setPropertyData);
  EXPECT_EQ(machine.calls[0].object, kAudioObjectSystemObject);
  EXPECT_EQ(machine.calls[0].address.mSelector, kAudioHardwarePropertyRunLoop);
  EXPECT_EQ(machine.count(Function::setPropertyData, kAudioHardwarePropertyRunLoop), 1u);
  EXPECT_TRUE(machine.notificationThread);
}

// A Mac takes a rate or a default and applies it later: a change waits until a
// read shows it, so that a restore right after a switch reads what was set. The
// waits of one command share one budget; a change that doesn't show within it
// is still taken, and shows later.
TEST_F(CoreAudioTest, ChangesWaitToShowWithinOneBudget) {
  device("usb-uid").lag = {{"rate", 50}, {"default", 50}};
  EXPECT_TRUE(audio.setRate("usb-uid", 44100));
  EXPECT_EQ(audio.rate("usb-uid"), 44100);
  EXPECT_TRUE(audio.setDefault(Direction::output, "usb-uid"));
  EXPECT_EQ(audio.defaultUID(Direction::output), "usb-uid");
  device("usb-uid").lag = {{"rate", 60000}};
  device("speakers-uid").lag = {{"default", 60000}};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(audio.setRate("usb-uid", 48000));                      // spends the whole budget
  EXPECT_TRUE(audio.setDefault(Direction::output, "speakers-uid"));  // nothing left of it
  EXPECT_LT(std::chrono::steady_clock::now() - start, settleBudget + std::chrono::seconds(1));
  EXPECT_EQ(audio.rate("usb-uid"), 44100);
  EXPECT_EQ(audio.defaultUID(Direction::output), "usb-uid");
  ASSERT_EQ(machine.pending.size(), 2u);
  for (auto& change : machine.pending) change.due = 0;  // their time has come
  EXPECT_EQ(audio.rate("usb-uid"), 48000);
  EXPECT_EQ(audio.defaultUID(Direction::output), "speakers-uid");
}

}  // namespace
}  // namespace orvel
