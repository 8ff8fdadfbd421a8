#include "machine.h"

#include <algorithm>

namespace orvel::sim {

Device* Machine::find(AudioObjectID id) {
  const auto found = std::find_if(devices.begin(), devices.end(),
                                  [id](const Device& device) { return device.id == id; });
  return found == devices.end() ? nullptr : &*found;
}

Device* Machine::findUID(const std::string& uid) {
  const auto found = std::find_if(devices.begin(), devices.end(),
                                  [&uid](const Device& device) { return device.uid == uid; });
  return found == devices.end() ? nullptr : &*found;
}

std::size_t Machine::count(Function function) const {
  return static_cast<std::size_t>(
      std::count_if(calls.begin(), calls.end(),
                    [function](const Call& call) { return call.function == function; }));
}

std::size_t Machine::count(Function function, AudioObjectPropertySelector selector) const {
  return static_cast<std::size_t>(
      std::count_if(calls.begin(), calls.end(), [function, selector](const Call& call) {
        return call.function == function && call.address.mSelector == selector;
      }));
}

}  // namespace orvel::sim
