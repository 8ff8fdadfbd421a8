// An in-memory SoundSystem for the engine's tests: a few devices in a map, every call
// recorded as "operation(arg,...)" in order, and a change refused on demand for
// one device ("setRate spk").
#pragma once

#include <map>
#include <set>
#include <sstream>

#include "sound/sound_system.h"

namespace orvel {

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
  std::vector<std::string> calls;

  Text defaultUID(Direction d) override { return log("defaultUID", rawValue(d)), defaults[d]; }
  bool exists(const std::string& uid, Direction d) override {
    const MemoryDevice& device = at("exists", uid, rawValue(d));
    return (d == Direction::output ? device.outputs : device.inputs) > 0;
  }
  Text name(const std::string& uid) override { return at("name", uid).name; }
  std::optional<double> rate(const std::string& uid) override { return at("rate", uid).rate; }
  Text layout(const std::string& uid) override { return at("layout", uid).layout; }
  VolumeMap volume(const std::string& uid) override { return at("volume", uid).volume; }
  bool setDefault(Direction d, const std::string& uid) override {
    return change("setDefault", uid, rawValue(d), uid) && (defaults[d] = uid, true);
  }
  bool setRate(const std::string& uid, double hz) override {
    return change("setRate", uid, uid, hz) && (machine[uid].rate = hz, true);
  }
  bool setLayout(const std::string& uid, const std::string& text) override {
    return change("setLayout", uid, uid, text) && (machine[uid].layout = text, true);
  }
  bool setVolume(const std::string& uid, const std::string& key, double value) override {
    return change("setVolume", uid, uid, key, value) && (machine[uid].volume[key] = value, true);
  }
  std::vector<DeviceRecord> devices() override { return {}; }

 private:
  // Logs the call; an unknown device reads as one with nothing set.
  MemoryDevice at(const std::string& operation, const std::string& uid, const auto&... more) {
    log(operation, uid, more...);
    return machine.contains(uid) ? machine[uid] : MemoryDevice{};
  }
  // Logs the call; false when the device is unknown or the change is refused.
  bool change(const std::string& operation, const std::string& uid, const auto&... args) {
    log(operation, args...);
    return machine.contains(uid) && !refused.contains(operation + " " + uid);
  }
  void log(const std::string& operation, const auto&... args) {
    std::ostringstream list;
    ((list << ',' << args), ...);
    calls.push_back(operation + "(" + list.str().substr(sizeof...(args) ? 1 : 0) + ")");
  }
};

}  // namespace orvel
