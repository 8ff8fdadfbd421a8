// The engine over an in-memory SoundSystem: applying and reading.
#include <gtest/gtest.h>

#include "engine/apply.h"
#include "engine/current.h"
#include "engine/memory_sound_system.h"

namespace orvel {
namespace {

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

TEST(Current, ReadsLayoutAndVolumesOfTheOutputOnly) {
  MemorySoundSystem sound;
  sound.defaults[Direction::input] = "usb";  // has an output side, still not read for input
  EXPECT_EQ(current(sound),
            (Settings{Side{"spk", "Desk Speakers", 44100, "AAA=", VolumeMap{{"0", 0.5}}},
                      Side{"usb", "USB Headset", 48000}}));
  sound.defaults.clear();
  EXPECT_EQ(current(sound), Settings());
}

}  // namespace
}  // namespace orvel
