// The switch's life over random machines: random Orvel settings, random choices
// of the user's during the switch (defaults too), devices that go and come
// back, refused changes, a silent sound system, controls with steps or a main
// control that moves every channel, and a second switch on top of the first.
// However it goes, restoring until nothing is owed leaves every setting at the
// user's value or at the user's own newer choice, never at Orvel's.
#include <gtest/gtest.h>

#include <random>

#include "engine/apply.h"
#include "engine/holder.h"
#include "engine/items.h"
#include "engine/memory_sound_system.h"
#include "engine/put_back.h"
#include "engine/state_json.h"
#include "engine/switching.h"

namespace orvel {
namespace {

using Random = std::mt19937;

int pick(Random& random, int count) {
  return std::uniform_int_distribution<int>(0, count - 1)(random);
}
bool chance(Random& random, int percent) {
  return pick(random, 100) < percent;
}

const std::vector<double> rates{44100, 48000, 88200, 96000};
const std::vector<std::string> layouts{"AAA=", "BBB=", "CCC="};

double level(Random& random, unsigned steps) {
  const double value = pick(random, 1001) / 1000.0;
  return steps == 0 ? value : std::round(value * steps) / steps;
}

// Five devices; outputs with a main control and channels, or channels only.
MemorySoundSystem randomMachine(Random& random) {
  MemorySoundSystem sound;
  sound.volumeSteps = chance(random, 50) ? 64 : 0;
  sound.mainMovesAll = chance(random, 50);
  sound.machine["hdmi"] = {"HDMI", 2, 0, 48000, "CCC=", {}};
  for (auto& [uid, device] : sound.machine) {
    device.rate = rates[pick(random, 4)];
    device.volume.clear();
    if (device.outputs == 0) continue;
    if (!sound.mainMovesAll && chance(random, 50)) {
      device.volume["0"] = level(random, sound.volumeSteps);
    }
    for (int k = 1; k <= device.outputs; ++k) {
      device.volume[std::to_string(k)] = level(random, sound.volumeSteps);
    }
  }
  return sound;
}

Side randomSide(Random& random, MemorySoundSystem& sound, const std::string& uid) {
  Side side{.uid = uid, .name = sound.machine[uid].name};
  if (chance(random, 70)) side.rate = rates[pick(random, 4)];
  if (chance(random, 50)) side.layout = layouts[pick(random, 3)];
  if (chance(random, 70) && !sound.machine[uid].volume.empty()) {
    side.volume.emplace();
    for (const auto& [key, value] : sound.machine[uid].volume) {
      if (chance(random, 60)) (*side.volume)[key] = level(random, 0);
    }
    if (chance(random, 30)) (*side.volume)["0"] = level(random, 0);
  }
  return side;
}

Settings randomTarget(Random& random, MemorySoundSystem& sound) {
  const std::vector<std::string> outputs{"spk", "usb", "hdmi"}, inputs{"mic", "usb", "line"};
  Settings target;
  if (chance(random, 80)) target.output = randomSide(random, sound, outputs[pick(random, 3)]);
  if (chance(random, 60)) target.input = randomSide(random, sound, inputs[pick(random, 3)]);
  if (chance(random, 40)) target.others = {randomSide(random, sound, outputs[pick(random, 3)])};
  return target;
}

// Everything a switch can change, to compare machines by.
struct Seen {
  std::map<Direction, std::optional<std::string>> defaults;
  std::map<std::string, MemoryDevice> devices;
};
Seen seen(const MemorySoundSystem& sound) {
  return {sound.defaults, sound.machine};
}

// The user, during the switch, moves one of the settings the switch holds to
// a new value, unlike any that the switch knows; the expected end follows.
void userChanges(Random& random, MemorySoundSystem& sound, const SwitchState& state,
                 Seen& expected) {
  if (state.items.empty()) return;
  const Item& item = state.items[pick(random, static_cast<int>(state.items.size()))];
  const auto unknownTo = [&](const ItemValue& value) {
    Item probe = item;
    return holderOf(probe, value) == Holder::someoneElse;
  };
  for (int attempt = 0; attempt < 20; ++attempt) {
    if (item.kind == ItemKind::defaultDevice) {
      const std::string uid =
          std::vector<std::string>{"spk", "usb", "hdmi", "mic", "line"}[pick(random, 5)];
      if (!sound.exists(uid, *item.side) || !unknownTo(uid)) continue;
      sound.defaults[*item.side] = expected.defaults[*item.side] = uid;
      return;
    }
    MemoryDevice& device = sound.machine[item.uid];
    if (item.kind == ItemKind::rate) {
      const double rate = 22050 + pick(random, 4) * 1000;
      if (!unknownTo(rate)) continue;
      device.rate = expected.devices[item.uid].rate = rate;
    } else if (item.kind == ItemKind::layout) {
      const std::string layout = "DDD" + std::to_string(pick(random, 9));
      device.layout = expected.devices[item.uid].layout = layout;
    } else {
      VolumeMap volumes = device.volume;
      if (volumes.empty()) return;
      auto entry = volumes.begin();
      std::advance(entry, pick(random, static_cast<int>(volumes.size())));
      entry->second = level(random, sound.volumeSteps);
      if (!unknownTo(volumes)) continue;
      device.volume = expected.devices[item.uid].volume = volumes;
    }
    return;
  }
}

// Faults while the restore runs: a device unplugged, a change refused, or no answer.
void faults(Random& random, MemorySoundSystem& sound) {
  if (chance(random, 30)) {
    auto device = sound.machine.begin();
    std::advance(device, pick(random, static_cast<int>(sound.machine.size())));
    device->second.plugged = false;
  }
  if (chance(random, 30)) {
    const char* operations[] = {"setDefault ", "setRate ", "setLayout ", "setVolume "};
    for (const char* uid : {"spk", "usb", "hdmi", "mic", "line"}) {
      if (chance(random, 30)) sound.refused.insert(operations[pick(random, 4)] + std::string(uid));
    }
  }
  sound.silent = chance(random, 15);
}

// The state as the folder keeps it: through its text form.
SwitchState onDisk(const SwitchState& state) {
  const auto text = stateText(state);
  EXPECT_TRUE(text.has_value());
  const auto read = readState(*text);
  EXPECT_EQ(read, state);
  return read.value_or(state);
}

void expectSame(const Seen& actual, const Seen& expected, int seed) {
  EXPECT_EQ(actual.defaults, expected.defaults) << "seed " << seed;
  for (const auto& [uid, device] : expected.devices) {
    const MemoryDevice& now = actual.devices.at(uid);
    EXPECT_EQ(now.rate, device.rate) << uid << " seed " << seed;
    EXPECT_EQ(now.layout, device.layout) << uid << " seed " << seed;
    for (const auto& [key, value] : device.volume) {
      EXPECT_NEAR(now.volume.at(key), value, 0.001) << uid << " " << key << " seed " << seed;
    }
  }
}

TEST(SwitchAndRestore, TheUsersSettingsComeBackWhateverHappens) {
  const int runs = 5000;
  for (int seed = 0; seed < runs; ++seed) {
    Random random(static_cast<unsigned>(seed));
    MemorySoundSystem sound = randomMachine(random);
    Seen expected = seen(sound);
    std::optional<SwitchState> state;
    const int switches = chance(random, 30) ? 2 : 1;
    for (int k = 0; k < switches; ++k) {
      const Settings target = randomTarget(random, sound);
      SwitchPlan plan = planSwitch(sound, target, state, std::to_string(k), "t");
      state = onDisk(plan.state);
      applyAll(sound, target);
      if (chance(random, 85)) readBack(sound, *state);  // else killed before it
      state = onDisk(*state);
      if (chance(random, 50)) userChanges(random, sound, *state, expected);
    }
    faults(random, sound);
    // With the device the switch made the default gone, the system moved the
    // default, not the user: the user's own comes back.
    // That is decided in the first round where the user's device can be set.
    for (const Item& item : state->items) {
      if (item.kind != ItemKind::defaultDevice || !item.user || sound.silent) continue;
      const auto& users = std::get<std::string>(*item.user);
      const auto& asked = std::get<std::string>(*item.asked);
      if (!sound.machine[asked].plugged && sound.machine[users].plugged &&
          !sound.refused.contains("setDefault " + users)) {
        expected.defaults[*item.side] = users;
      }
    }
    std::vector<Item> owed = state->items;
    for (int round = 0; round < 3 && !owed.empty(); ++round) {
      owed = onDisk({"id", "t", putBack(sound, owed).owed}).items;
      sound = [&] {  // the device is back, the system answers, nothing is refused
        MemorySoundSystem back = sound;
        for (auto& [uid, device] : back.machine) device.plugged = true;
        back.refused.clear();
        back.silent = false;
        return back;
      }();
    }
    EXPECT_TRUE(owed.empty()) << "seed " << seed;
    expectSame(seen(sound), expected, seed);
    if (HasFailure()) break;
  }
}

// A restore says what it put back, what it couldn't, and what it left, in the
// order of the further devices first, then the user's output and input.
TEST(SwitchAndRestore, EntriesNameWhatWasDoneOwedAndLeft) {
  MemorySoundSystem sound;
  const Settings target{Side{"spk", "Desk Speakers", 48000, std::nullopt, VolumeMap{{"0", 0.9}}},
                        Side{"line", "Line In", 44100}};
  SwitchPlan plan = planSwitch(sound, target, std::nullopt, "id", "t");
  applyAll(sound, target);
  readBack(sound, plan.state);
  sound.defaults[Direction::input] = "usb";  // the user's own choice since
  sound.refused = {"setRate line"};
  const PutBack back = putBack(sound, plan.state.items);
  EXPECT_EQ(back.outcome.done, (std::vector<std::string>{"the output Desk Speakers at 44100 Hz",
                                                         "the output Desk Speakers's volume"}));
  EXPECT_EQ(back.outcome.skipped, (std::vector<std::string>{"Line In at 96000 Hz"}));
  EXPECT_EQ(back.left, (std::vector<std::string>{"the input Desk Microphone as the default"}));
  ASSERT_EQ(back.owed.size(), 1u);
  sound.silent = true;
  const PutBack silent = putBack(sound, back.owed);
  EXPECT_EQ(silent.outcome.skipped, (std::vector<std::string>{"the sound system isn't answering"}));
  EXPECT_EQ(silent.owed, back.owed);
}

}  // namespace
}  // namespace orvel
