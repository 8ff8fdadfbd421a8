// An in-memory SoundSystem for the engine's tests: a few devices held in a map,
// every call recorded as "operation(arg,...)" in order, and any change refused
// on demand, for every device ("setRate") or for one ("setRate spk").
#pragma once

#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "sound/sound_system.h"

namespace orvel {

struct MemoryDevice {
  std::optional<std::string> name;
  int outputs = 0;
  int inputs = 0;
  std::optional<double> rate;
  std::optional<std::string> layout;
  VolumeMap volume;
};

class MemorySoundSystem : public SoundSystem {
 public:
  std::map<std::string, MemoryDevice> machine;
  std::map<Direction, std::string> defaults;
  std::set<std::string> refused;
  std::vector<std::string> calls;

  std::optional<std::string> defaultUID(Direction direction) override {
    log("defaultUID", rawValue(direction));
    if (!defaults.contains(direction)) return std::nullopt;
    return defaults[direction];
  }
  bool setDefault(Direction direction, const std::string& uid) override {
    log("setDefault", rawValue(direction), uid);
    return change("setDefault", uid, [&](MemoryDevice&) { defaults[direction] = uid; });
  }
  bool exists(const std::string& uid, Direction direction) override {
    log("exists", uid, rawValue(direction));
    const MemoryDevice* device = find(uid);
    return device && (direction == Direction::output ? device->outputs : device->inputs) > 0;
  }
  std::optional<std::string> name(const std::string& uid) override {
    return read("name", uid, &MemoryDevice::name);
  }
  std::optional<double> rate(const std::string& uid) override {
    return read("rate", uid, &MemoryDevice::rate);
  }
  bool setRate(const std::string& uid, double hz) override {
    log("setRate", uid, hz);
    return change("setRate", uid, [&](MemoryDevice& device) { device.rate = hz; });
  }
  std::optional<std::string> layout(const std::string& uid) override {
    return read("layout", uid, &MemoryDevice::layout);
  }
  bool setLayout(const std::string& uid, const std::string& text) override {
    log("setLayout", uid, text);
    return change("setLayout", uid, [&](MemoryDevice& device) { device.layout = text; });
  }
  VolumeMap volume(const std::string& uid) override {
    return read("volume", uid, &MemoryDevice::volume);
  }
  bool setVolume(const std::string& uid, const std::string& key, double value) override {
    log("setVolume", uid, key, value);
    return change("setVolume", uid, [&](MemoryDevice& device) { device.volume[key] = value; });
  }
  std::vector<DeviceRecord> devices() override { return {}; }

 private:
  MemoryDevice* find(const std::string& uid) {
    const auto found = machine.find(uid);
    return found == machine.end() ? nullptr : &found->second;
  }
  template <typename Value>
  Value read(const std::string& operation, const std::string& uid, Value MemoryDevice::*field) {
    log(operation, uid);
    return find(uid) ? find(uid)->*field : Value{};
  }
  bool change(const std::string& operation, const std::string& uid, const auto& make) {
    MemoryDevice* device = find(uid);
    if (!device || refused.contains(operation) || refused.contains(operation + " " + uid)) {
      return false;
    }
    make(*device);
    return true;
  }
  template <typename... Args>
  void log(const std::string& operation, const Args&... args) {
    std::ostringstream list;
    ((list << ',' << args), ...);
    const std::string text = list.str();
    calls.push_back(operation + "(" + (text.empty() ? text : text.substr(1)) + ")");
  }
};

// Desk Speakers (output only) is the default output, Desk Microphone (input
// only) the default input; a USB headset serves both ways, a line input only
// input, and a dock is connected in neither direction.
inline MemorySoundSystem deskMachine() {
  MemorySoundSystem sound;
  sound.machine["spk"] = {"Desk Speakers", 2, 0, 44100, "AAA=", {{"0", 0.5}}};
  sound.machine["mic"] = {"Desk Microphone", 0, 1, 48000, std::nullopt, {}};
  sound.machine["usb"] = {"USB Headset", 2, 1, 48000, "BBB=", {{"1", 0.2}, {"2", 0.3}}};
  sound.machine["line"] = {"Line In", 0, 2, 96000, "CCC=", {{"0", 1}}};
  sound.machine["dock"] = {"Dock", 0, 0, 44100, std::nullopt, {}};
  sound.defaults = {{Direction::output, "spk"}, {Direction::input, "mic"}};
  return sound;
}

}  // namespace orvel
