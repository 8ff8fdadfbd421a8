#include "settling.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace orvel::sim {
namespace {

std::int64_t nowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// The lag of a change, in milliseconds: the device's own for its settings, the
// new default device's for a default.
unsigned lagOf(Machine& machine, const Property& property, const Value& after) {
  const Device* device = property.device;
  const char* kind = nullptr;
  switch (property.address.mSelector) {
    case kAudioDevicePropertyNominalSampleRate:
      kind = "rate";
      break;
    case kAudioDevicePropertyPreferredChannelLayout:
      kind = "layout";
      break;
    case kAudioDevicePropertyVolumeScalar:
      kind = "volume";
      break;
    case kAudioHardwarePropertyDefaultOutputDevice:
    case kAudioHardwarePropertyDefaultInputDevice: {
      AudioObjectID id = 0;
      if (after.bytes.size() == sizeof id) std::memcpy(&id, after.bytes.data(), sizeof id);
      device = machine.find(id);
      kind = "default";
      break;
    }
    default:
      return 0;
  }
  if (device == nullptr) return 0;
  const auto found = device->lag.find(kind);
  return found == device->lag.end() ? 0 : found->second;
}

}  // namespace

void settleLater(Machine& machine, AudioObjectID object, const Property& property,
                 const Value& before) {
  const Value after = valueOf(machine, property, nullptr);
  const unsigned lag = lagOf(machine, property, after);
  if (lag == 0) return;
  const AudioObjectPropertyAddress& address = property.address;
  assign(machine, object, address, before.bytes);  // the old value shows until then
  const Pending change{object, address.mSelector, address.mElement, after.bytes, nowMs() + lag};
  std::erase_if(machine.pending, [&](const Pending& other) { return other.sameProperty(change); });
  machine.pending.push_back(change);
}

bool applyDue(Machine& machine) {
  const std::int64_t now = nowMs();
  bool any = false;
  std::erase_if(machine.pending, [&](const Pending& change) {
    if (change.due > now) return false;
    assign(machine, change.object,
           AudioObjectPropertyAddress{change.selector, kAudioObjectPropertyScopeOutput,
                                      change.element},
           change.bytes);
    any = true;
    return true;
  });
  return any;
}

}  // namespace orvel::sim
