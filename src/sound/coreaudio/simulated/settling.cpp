#include "settling.h"

namespace orvel::sim {
namespace {

// The device whose lag the change waits out; null for a change that shows at once.
const Device* lagging(Machine& machine, const Property& property) {
  switch (property.address.mSelector) {
    case kAudioDevicePropertyNominalSampleRate:
      return property.device;
    case kAudioHardwarePropertyDefaultOutputDevice:
      return machine.find(machine.defaultOutput);
    case kAudioHardwarePropertyDefaultInputDevice:
      return machine.find(machine.defaultInput);
    default:
      return nullptr;
  }
}

}  // namespace

void settleLater(Machine& machine, AudioObjectID object, const Property& property,
                 const Value& before) {
  const Device* device = lagging(machine, property);
  if (device == nullptr || device->lag == 0) return;
  machine.stale[{object, property.address.mSelector}] = Stale{before.bytes, device->lag};
}

Value shown(Machine& machine, AudioObjectID object, const Property& property, Value value) {
  const auto found = machine.stale.find({object, property.address.mSelector});
  if (found == machine.stale.end()) return value;
  value.bytes = found->second.bytes;
  if (--found->second.reads == 0) machine.stale.erase(found);
  return value;
}

}  // namespace orvel::sim
