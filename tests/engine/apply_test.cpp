#include "engine/apply.h"

#include <limits>

#include <gtest/gtest.h>

#include "engine/memory_sound_system.h"

namespace orvel {
namespace {

using Texts = std::vector<std::string>;

const Side deskSpeakers{"spk", "Desk Speakers", 48000, "BBB=", VolumeMap{{"0", 0.8}}};

// The calls of the named operations, in order.
Texts callsOf(const MemorySoundSystem& sound, const Texts& operations) {
  Texts found;
  for (const std::string& call : sound.calls) {
    for (const std::string& operation : operations) {
      if (call.starts_with(operation + "(")) found.push_back(call);
    }
  }
  return found;
}

const Texts changes{"setDefault", "setRate", "setLayout", "setVolume"};

TEST(ApplyAll, NothingToApplyCallsNothing) {
  MemorySoundSystem sound = deskMachine();
  const Outcome outcome = applyAll(sound, Settings());
  EXPECT_TRUE(outcome.done.empty() && outcome.skipped.empty() && sound.calls.empty());
}

TEST(ApplyAll, OthersThenOutputThenInput) {
  MemorySoundSystem sound = deskMachine();
  sound.defaults[Direction::output] = "usb";
  const Settings settings{deskSpeakers, Side{"gone", "Desk Microphone", 48000},
                          std::vector{Side{"line", "Desk Speakers", 48000}, Side{"dock"}}};
  const Outcome outcome = applyAll(sound, settings);
  EXPECT_EQ(
      outcome.done,
      (Texts{"Desk Speakers at 48000 Hz", "the output Desk Speakers as the default",
             "the output Desk Speakers at 48000 Hz", "the output Desk Speakers's channel layout",
             "the output Desk Speakers's volume"}));
  EXPECT_EQ(outcome.skipped,
            (Texts{"dock: not connected", "the input Desk Microphone: not connected"}));
  EXPECT_EQ(sound.calls.back(), "exists(gone,input)");  // nothing else for that side
}

TEST(Apply, ARefusedChangeLetsTheLaterStepsRun) {
  MemorySoundSystem sound = deskMachine();
  sound.defaults[Direction::output] = "usb";
  sound.refused = {"setDefault", "setRate", "setLayout spk"};
  Outcome outcome;
  apply(sound, Direction::output, deskSpeakers, outcome);
  EXPECT_EQ(outcome.skipped, (Texts{"the output Desk Speakers as the default",
                                    "the output Desk Speakers at 48000 Hz",
                                    "the output Desk Speakers's channel layout"}));
  EXPECT_EQ(outcome.done, Texts{"the output Desk Speakers's volume"});
}

TEST(ApplyAll, LayoutAndVolumesOnlyOnAnOutputSide) {
  MemorySoundSystem sound = deskMachine();
  const VolumeMap silent{{"0", 0}};
  const Settings settings{std::nullopt, Side{"usb", "USB Headset", 44100, "AAA=", silent},
                          std::vector{Side{"line", "Line In", 44100, "AAA=", silent}}};
  const Outcome outcome = applyAll(sound, settings);
  EXPECT_EQ(outcome.done, (Texts{"Line In at 44100 Hz", "the input USB Headset as the default",
                                 "the input USB Headset at 44100 Hz"}));
  EXPECT_EQ(callsOf(sound, {"layout", "setLayout", "volume", "setVolume"}), Texts{});
}

TEST(ApplyAll, HeldWithinTheTolerancesChangesNothing) {
  MemorySoundSystem sound = deskMachine();
  sound.machine["spk"].volume = {{"0", 0.001}, {"1", 0.5}};  // both ends of both tolerances
  for (const double rate : {44099.5, 44100.5}) {
    const Side held{"spk", "Desk Speakers", rate, "AAA=", VolumeMap{{"0", 0}, {"1", 0.5005}}};
    const Outcome outcome = applyAll(sound, {held, Side{"mic"}});
    EXPECT_TRUE(outcome.done.empty() && outcome.skipped.empty()) << rate;
  }
  EXPECT_EQ(callsOf(sound, changes), Texts{});
}

TEST(Apply, TheRateEntryCutsTowardZero) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const std::pair<double, std::string> cases[] = {
      {44100.9, "44100"},
      {-0.7, "0"},
      {-9223372036854775808.0, "-9223372036854775808"},
      {1e20, "100000000000000000000"},
      {infinity, "infinity"},
      {-infinity, "-infinity"},
      {std::numeric_limits<double>::quiet_NaN(), "NaN"},
  };
  for (const auto& [rate, text] : cases) {
    MemorySoundSystem sound = deskMachine();
    Outcome outcome;
    apply(sound, Direction::output, Side{.uid = "spk", .rate = rate}, outcome);
    apply(sound, std::nullopt, Side{"usb", "", rate}, outcome);
    EXPECT_EQ(outcome.done, (Texts{"the output spk at " + text + " Hz", " at " + text + " Hz"}));
  }
}

TEST(Apply, VolumesInTextOrderEachReadAfresh) {
  MemorySoundSystem sound = deskMachine();
  sound.machine["usb"].volume.clear();  // every key missing, so every key is set
  const Texts order{"0", "1", "10", "11", "12", "13", "14", "15", "16",
                    "2", "3", "4",  "5",  "6",  "7",  "8",  "9"};
  Side usb{.uid = "usb", .volume = VolumeMap{}};
  Texts expected;
  for (const std::string& key : order) {
    usb.volume->emplace(key, 0);  // a missing key counts as -1, so even 0 is set
    expected.insert(expected.end(), {"volume(usb)", "setVolume(usb," + key + ",0)"});
  }
  Outcome outcome;
  apply(sound, std::nullopt, usb, outcome);
  EXPECT_EQ(callsOf(sound, {"volume", "setVolume"}), expected);
  EXPECT_EQ(outcome.done, Texts(order.size(), "usb's volume"));
}

}  // namespace
}  // namespace orvel
