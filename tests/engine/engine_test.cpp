// The engine over an in-memory SoundSystem: applying, matching, the snapshot.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "engine/apply.h"
#include "engine/current.h"
#include "engine/matching.h"
#include "engine/snapshot.h"

namespace orvel {
namespace {

// A few devices in a map, and a change refused on demand for one device
// ("setRate spk").
struct MemoryDevice {
  std::optional<std::string> name;
  int outputs = 0, inputs = 0;
  std::optional<double> rate;
  std::optional<std::string> layout;
  VolumeMap volume;
};

class MemorySoundSystem : public SoundSystem {
 public:
  using Text = std::optional<std::string>;
  // Desk Speakers (output only) is the default output, Desk Microphone (input only)
  // the default input; a USB headset serves both ways, a line input only input.
  std::map<std::string, MemoryDevice> machine{
      {"spk", {"Desk Speakers", 2, 0, 44100, "AAA=", {{"0", 0.5}}}},
      {"mic", {"Desk Microphone", 0, 1, 48000, std::nullopt, {}}},
      {"usb", {"USB Headset", 2, 1, 48000, "BBB=", {{"1", 0.2}, {"2", 0.3}}}},
      {"line", {"Line In", 0, 2, 96000, "CCC=", {{"0", 1}}}}};
  std::map<Direction, Text> defaults{{Direction::output, "spk"}, {Direction::input, "mic"}};
  std::set<std::string> refused;

  Text defaultUID(Direction d) override { return defaults[d]; }
  bool exists(const std::string& uid, Direction d) override {
    const MemoryDevice& device = at(uid);
    return (d == Direction::output ? device.outputs : device.inputs) > 0;
  }
  Text name(const std::string& uid) override { return at(uid).name; }
  std::optional<double> rate(const std::string& uid) override { return at(uid).rate; }
  Text layout(const std::string& uid) override { return at(uid).layout; }
  VolumeMap volume(const std::string& uid) override { return at(uid).volume; }
  bool setDefault(Direction d, const std::string& uid) override {
    return accepts("setDefault", uid) && (defaults[d] = uid, true);
  }
  bool setRate(const std::string& uid, double hz) override {
    return accepts("setRate", uid) && (machine[uid].rate = hz, true);
  }
  bool setLayout(const std::string& uid, const std::string& text) override {
    return accepts("setLayout", uid) && (machine[uid].layout = text, true);
  }
  bool setVolume(const std::string& uid, const std::string& key, double value) override {
    return accepts("setVolume", uid) && (machine[uid].volume[key] = value, true);
  }
  std::optional<double> volumeAt(const std::string& uid, const std::string& key) override {
    const VolumeMap volume = at(uid).volume;
    return volume.contains(key) ? std::optional(volume.at(key)) : std::nullopt;
  }
  std::vector<DeviceRecord> devices() override { return {}; }
  bool answering() override { return true; }

 private:
  // An unknown device reads as one with nothing set.
  MemoryDevice at(const std::string& uid) {
    return machine.contains(uid) ? machine[uid] : MemoryDevice{};
  }
  // False when the device is unknown or the change is refused.
  bool accepts(const std::string& operation, const std::string& uid) {
    return machine.contains(uid) && !refused.contains(operation + " " + uid);
  }
};

using Texts = std::vector<std::string>;

// Further devices first, then the output, then the input. A refused change is
// skipped and the later steps still run; "not connected" ends its side at once.
// A rate entry is cut toward zero; the UID stands in for a missing name.
TEST(ApplyAll, OthersThenOutputThenInputPastRefusals) {
  MemorySoundSystem sound;
  sound.defaults[Direction::output] = "usb";
  sound.refused = {"setDefault spk", "setRate spk", "setLayout spk"};
  const Side deskSpeakers{"spk", "Desk Speakers", 48000, "BBB=", VolumeMap{{"0", 0.8}}};
  const Settings settings{deskSpeakers, Side{"gone", "Desk Microphone", 48000},
                          std::vector{Side{"line", "Line In", 48000.9}, Side{"dock"}}};
  const Outcome outcome = applyAll(sound, settings);
  EXPECT_EQ(outcome.done, (Texts{"Line In at 48000 Hz", "the output Desk Speakers's volume"}));
  EXPECT_EQ(
      outcome.skipped,
      (Texts{"dock: not connected", "the output Desk Speakers as the default",
             "the output Desk Speakers at 48000 Hz", "the output Desk Speakers's channel layout",
             "the input Desk Microphone: not connected"}));
}

TEST(ApplyAll, LayoutAndVolumesOnlyOnAnOutputSide) {
  MemorySoundSystem sound;
  const VolumeMap silent{{"0", 0}};
  const Settings settings{std::nullopt, Side{"usb", "USB Headset", 44100, "AAA=", silent},
                          std::vector{Side{"line", "Line In", 44100, "AAA=", silent}}};
  const Outcome outcome = applyAll(sound, settings);
  EXPECT_EQ(outcome.done, (Texts{"Line In at 44100 Hz", "the input USB Headset as the default",
                                 "the input USB Headset at 44100 Hz"}));
  EXPECT_TRUE(outcome.skipped.empty());  // here any layout or volume read would lead to a set
}

TEST(ApplyAll, HeldWithinTheTolerancesChangesNothing) {
  MemorySoundSystem sound;
  sound.machine["spk"].volume = {{"0", 0.001}, {"1", 0.5}};  // both ends of both tolerances
  for (const double rate : {44099.5, 44100.5}) {
    const Side held{"spk", "Desk Speakers", rate, "AAA=", VolumeMap{{"0", 0}, {"1", 0.5005}}};
    const Outcome outcome = applyAll(sound, {held, Side{"mic"}});
    EXPECT_TRUE(outcome.done.empty() && outcome.skipped.empty()) << rate;  // every change has one
  }
}

const auto at = [](double rate) { return Side{.uid = "spk", .rate = rate}; };
const auto vol = [](VolumeMap volume) { return Side{.uid = "spk", .volume = std::move(volume)}; };
const Side bare{.uid = "spk", .name = "Desk"};  // names are never compared

TEST(Matches, ComparesWithinTheTolerances) {
  const std::tuple<const char*, std::optional<Side>, std::optional<Side>, bool> cases[] = {
      {"other device", Side{.uid = "usb"}, bare, false},
      {"rate beyond 0.5 below", at(47999.49), at(48000), false},
      {"missing rate counts as 0", bare, at(0.5), true},
      {"volume 0.001 off", vol({{"0", 0.001}}), vol({{"0", 0}}), true},
      {"volume 0.002 below", vol({{"0", 0.498}}), vol({{"0", 0.5}}), false},
      {"a missing key counts as -1, not 0", vol({{"1", 0.5}}), vol({{"0", 0}}), false},
      {"extra held keys are ignored", vol({{"0", 0.5}, {"1", 0}}), vol({{"0", 0.5}}), true},
      {"layout wanted, none held", bare, Side{.uid = "spk", .layout = "AAA="}, false},
  };
  for (const auto& [what, held, wanted, expected] : cases) {
    EXPECT_EQ(matches(held, wanted), expected) << what;
  }
}

TEST(Current, ReadsLayoutAndVolumesOfTheOutputOnly) {
  MemorySoundSystem sound;
  sound.defaults[Direction::input] = "usb";  // has an output side, still not read for input
  EXPECT_EQ(current(sound),
            (Settings{Side{"spk", "Desk Speakers", 44100, "AAA=", VolumeMap{{"0", 0.5}}},
                      Side{"usb", "USB Headset", 48000}}));
  sound.defaults.clear();
  EXPECT_EQ(current(sound), Settings());
}

const auto only = [](const char* uid) { return Side{.uid = uid}; };

// Each target default that is no default now joins the further devices, as the machine
// holds it now and after those already held; with none added, those stay as they were.
TEST(Snapshot, AddsTheDevicesThatTheTargetMakesADefault) {
  const Side usbNow{"usb", "USB Headset", 48000, "BBB=", VolumeMap{{"1", 0.2}, {"2", 0.3}}};
  const std::tuple<const char*, Settings, std::vector<Side>> cases[] = {
      {"the current defaults, crossed", {only("mic"), only("spk")}, {}},
      {"present values, not the target's", {Side{"usb", "Mine", 96000}}, {usbNow}},
      {"one device both ways, once", {only("usb"), only("usb")}, {usbNow}},
      {"input only: no layout, no volume",
       {std::nullopt, only("line")},
       {{"line", "Line In", 96000}}},
      {"not connected", {only("gone")}, {}},
      {"the target's others are not added", {.others = {{only("usb")}}}, {}},
  };
  for (const auto& [what, target, added] : cases) {
    MemorySoundSystem sound;
    Settings now = current(sound);
    if (!added.empty()) now.others = {only("earlier")};
    Settings expected = now;
    if (!added.empty()) expected.others->insert(expected.others->end(), added.begin(), added.end());
    EXPECT_EQ(snapshot(sound, now, target), expected) << what;
  }
}

}  // namespace
}  // namespace orvel
