#include "engine/current.h"

#include <gtest/gtest.h>

#include "engine/memory_sound_system.h"

namespace orvel {
namespace {

using Calls = std::vector<std::string>;

TEST(Current, ReadsLayoutAndVolumesOfTheOutputOnly) {
  MemorySoundSystem sound = deskMachine();
  sound.defaults[Direction::input] = "usb";  // has an output side, still not read for input
  const Settings settings = current(sound);
  EXPECT_EQ(settings.output, (Side{"spk", "Desk Speakers", 44100, "AAA=", VolumeMap{{"0", 0.5}}}));
  EXPECT_EQ(settings.input, (Side{"usb", "USB Headset", 48000, std::nullopt, std::nullopt}));
  EXPECT_FALSE(settings.others);
  EXPECT_EQ(sound.calls, (Calls{"defaultUID(output)", "name(spk)", "rate(spk)", "layout(spk)",
                                "volume(spk)", "defaultUID(input)", "name(usb)", "rate(usb)"}));
}

TEST(Current, MissingDefaultsAndUnreadableValues) {
  MemorySoundSystem sound = deskMachine();
  sound.defaults.erase(Direction::input);
  sound.machine["spk"] = {std::nullopt, 2, 0, std::nullopt, std::nullopt, {}};
  EXPECT_EQ(current(sound), (Settings{Side{.uid = "spk", .volume = VolumeMap{}}}));
  sound.defaults.clear();
  EXPECT_EQ(current(sound), Settings());
}

}  // namespace
}  // namespace orvel
