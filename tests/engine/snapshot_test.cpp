#include "engine/snapshot.h"

#include <gtest/gtest.h>

#include "engine/current.h"
#include "engine/memory_sound_system.h"

namespace orvel {
namespace {

using Calls = std::vector<std::string>;
using Others = std::optional<std::vector<Side>>;

struct Case {
  const char* what;
  Settings target;
  Others others;  // the snapshot's further sides
  Calls calls;
};

const Side usbNow{"usb", "USB Headset", 48000, "BBB=", VolumeMap{{"1", 0.2}, {"2", 0.3}}};
const Calls usbRead{"exists(usb,output)", "name(usb)", "rate(usb)", "layout(usb)", "volume(usb)"};

Side only(const char* uid) {
  return {.uid = uid};
}

TEST(Snapshot, KeepsTheDevicesThatTheTargetMakesADefault) {
  const Case cases[] = {
      {"the current defaults", {only("spk"), only("mic")}, std::nullopt, {}},
      {"the current input as output", {only("mic")}, std::nullopt, {}},
      {"present values, not the target's", {Side{"usb", "Mine", 96000}}, {{usbNow}}, usbRead},
      {"one device both ways, read once", {only("usb"), only("usb")}, {{usbNow}}, usbRead},
      {"input only: no layout, no volume",
       {std::nullopt, only("line")},
       {{Side{"line", "Line In", 96000}}},
       {"exists(line,output)", "exists(line,input)", "name(line)", "rate(line)"}},
      {"connected in neither direction",
       {only("dock")},
       std::nullopt,
       {"exists(dock,output)", "exists(dock,input)"}},
      {"the target's others are not read", {.others = {{only("usb")}}}, std::nullopt, {}},
  };
  for (const Case& c : cases) {
    MemorySoundSystem sound = deskMachine();
    const Settings now = current(sound);
    sound.calls.clear();
    const Settings kept = snapshot(sound, now, c.target);
    EXPECT_EQ(kept, (Settings{now.output, now.input, c.others})) << c.what;
    EXPECT_EQ(sound.calls, c.calls) << c.what;
  }
}

TEST(Snapshot, ExtendsFurtherSidesAlreadyHeld) {
  MemorySoundSystem sound = deskMachine();
  const Settings now{only("spk"), std::nullopt, std::vector<Side>{only("dock")}};
  const Settings kept = snapshot(sound, now, {only("usb")});
  EXPECT_EQ(kept.others, (Others{{only("dock"), usbNow}}));
}

}  // namespace
}  // namespace orvel
