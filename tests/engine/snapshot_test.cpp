#include "engine/snapshot.h"

#include <gtest/gtest.h>

#include "engine/current.h"
#include "engine/memory_sound_system.h"

namespace orvel {
namespace {

TEST(Current, ReadsLayoutAndVolumesOfTheOutputOnly) {
  MemorySoundSystem sound;
  sound.defaults[Direction::input] = "usb";  // has an output side, still not read for input
  EXPECT_EQ(current(sound),
            (Settings{Side{"spk", "Desk Speakers", 44100, "AAA=", VolumeMap{{"0", 0.5}}},
                      Side{"usb", "USB Headset", 48000}}));
  sound.defaults.clear();
  EXPECT_EQ(current(sound), Settings());
}

Side only(const char* uid) {
  return {.uid = uid};
}

// Each target default that is no default now joins the further devices, as the
// machine holds it now and after those already held; with none added, those stay
// as they were, absent or not.
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
