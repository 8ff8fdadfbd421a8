// MemorySoundSystem: a machine in memory behind the SoundSystem seam, for the
// engine's tests. Devices in a map; a change can be refused per operation and
// device ("setRate spk"), a device unplugged, the whole system silenced, and
// volume controls can snap to steps or move every channel with the main one,
// as real systems do.
#pragma once

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "sound/sound_system.h"

namespace orvel {

struct MemoryDevice {
  std::optional<std::string> name;
  int outputs = 0, inputs = 0;
  std::optional<double> rate;
  std::optional<std::string> layout;
  VolumeMap volume;
  bool plugged = true;
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
  bool silent = false;       // the sound system doesn't answer
  unsigned volumeSteps = 0;  // > 0: a set volume snaps to k/steps
  // Channels only, the main control "0" read as the loudest and setting every
  // channel, and reported alone while they are equal (PulseAudio).
  bool mainMovesAll = false;

  Text defaultUID(Direction d) override {
    const Text uid = defaults[d];
    return !silent && uid && reachable(*uid) ? uid : std::nullopt;
  }
  bool exists(const std::string& uid, Direction d) override {
    if (!reachable(uid)) return false;
    const MemoryDevice& device = machine.at(uid);
    return (d == Direction::output ? device.outputs : device.inputs) > 0;
  }
  Text name(const std::string& uid) override { return at(uid).name; }
  std::optional<double> rate(const std::string& uid) override { return at(uid).rate; }
  Text layout(const std::string& uid) override { return at(uid).layout; }
  VolumeMap volume(const std::string& uid) override {
    const VolumeMap all = controls(uid);
    const auto main = all.find("0");
    if (main == all.end()) return all;
    const bool equal = std::all_of(all.begin(), all.end(), [&](const auto& control) {
      return control.second == main->second;
    });
    if (!mainMovesAll || equal) return {*main};
    VolumeMap channels = all;
    channels.erase("0");
    return channels;
  }
  VolumeMap controls(const std::string& uid) override {
    VolumeMap all = at(uid).volume;
    if (mainMovesAll && !all.empty()) {
      all["0"] = std::max_element(all.begin(), all.end(), [](const auto& a, const auto& b) {
                   return a.second < b.second;
                 })->second;
    }
    return all;
  }
  bool setDefault(Direction d, const std::string& uid) override {
    return accepts("setDefault", uid) && exists(uid, d) && (defaults[d] = uid, true);
  }
  bool setRate(const std::string& uid, double hz) override {
    return accepts("setRate", uid) && (machine[uid].rate = hz, true);
  }
  bool setLayout(const std::string& uid, const std::string& text) override {
    return accepts("setLayout", uid) && (machine[uid].layout = text, true);
  }
  bool setVolume(const std::string& uid, const std::string& key, double value) override {
    if (!accepts("setVolume", uid)) return false;
    VolumeMap& volume = machine[uid].volume;
    if (!volume.contains(key) && !(key == "0" && mainMovesAll && !volume.empty())) return false;
    const double level = snapped(value);
    for (auto& [k, v] : volume) {
      if (k == key || (key == "0" && mainMovesAll)) v = level;
    }
    return true;
  }
  std::vector<DeviceRecord> devices() override { return {}; }
  bool answering() override { return !silent; }
  void beginCommand() override {}

 private:
  bool reachable(const std::string& uid) const {
    return !silent && machine.contains(uid) && machine.at(uid).plugged;
  }
  // An unknown, unplugged or unreachable device reads as one with nothing set.
  MemoryDevice at(const std::string& uid) const {
    return reachable(uid) ? machine.at(uid) : MemoryDevice{};
  }
  // False when the device can't be reached or the change is refused.
  bool accepts(const std::string& operation, const std::string& uid) const {
    return reachable(uid) && !refused.contains(operation + " " + uid);
  }
  double snapped(double value) const {
    const double level = value > 1 ? 1 : value < 0 ? 0 : value;
    return volumeSteps == 0 ? level : std::round(level * volumeSteps) / volumeSteps;
  }
};

}  // namespace orvel
