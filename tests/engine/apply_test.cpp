#include "engine/apply.h"

#include <limits>

#include <gtest/gtest.h>

#include "engine/memory_sound_system.h"

namespace orvel {
namespace {

using Texts = std::vector<std::string>;

// A refused change is skipped and the later steps still run; "not connected"
// ends its side at once.
TEST(ApplyAll, OthersThenOutputThenInputPastRefusals) {
  MemorySoundSystem sound;
  const Outcome none = applyAll(sound, Settings());
  EXPECT_TRUE(none.done.empty() && none.skipped.empty() && sound.calls.empty());
  sound.defaults[Direction::output] = "usb";
  sound.refused = {"setDefault spk", "setRate spk", "setLayout spk"};
  const Side deskSpeakers{"spk", "Desk Speakers", 48000, "BBB=", VolumeMap{{"0", 0.8}}};
  const Settings settings{deskSpeakers, Side{"gone", "Desk Microphone", 48000},
                          std::vector{Side{"line", "Desk Speakers", 48000}, Side{"dock"}}};
  const Outcome outcome = applyAll(sound, settings);
  EXPECT_EQ(outcome.done,
            (Texts{"Desk Speakers at 48000 Hz", "the output Desk Speakers's volume"}));
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

// Cut toward zero; the UID stands in for a missing name, never for an empty one.
TEST(Apply, TheRateEntryCutsTowardZero) {
  const std::pair<double, std::string> cases[] = {
      {44100.9, "44100"}, {-std::numeric_limits<double>::infinity(), "-infinity"}};
  for (const auto& [rate, text] : cases) {
    MemorySoundSystem sound;
    Outcome outcome;
    apply(sound, Direction::output, Side{.uid = "spk", .rate = rate}, outcome);
    apply(sound, std::nullopt, Side{"usb", "", rate}, outcome);
    EXPECT_EQ(outcome.done, (Texts{"the output spk at " + text + " Hz", " at " + text + " Hz"}));
  }
}

TEST(Apply, VolumesInTextOrderEachReadAfresh) {
  MemorySoundSystem sound;
  sound.machine["usb"].volume.clear();  // a missing key counts as -1, so even 0 is set
  Side usb{.uid = "usb", .volume = VolumeMap{}};
  Texts expected{"exists(usb,output)"};
  for (const std::string key : {"0", "1", "10", "16", "2", "9"}) {
    usb.volume->emplace(key, 0);
    expected.insert(expected.end(), {"volume(usb)", "setVolume(usb," + key + ",0)"});
  }
  Outcome outcome;
  apply(sound, std::nullopt, usb, outcome);
  EXPECT_EQ(sound.calls, expected);
}

}  // namespace
}  // namespace orvel
