// Changes that settle later, as on a real Mac: after a change of a device's
// nominal rate, or of a default to a device, a device with a lag (Device::lag)
// still shows the old value for that many reads.
#pragma once

#include <CoreAudio/CoreAudio.h>

#include "machine.h"
#include "properties.h"

namespace orvel::sim {

// After a write that the machine took; `before` is the value the write replaced.
void settleLater(Machine& machine, AudioObjectID object, const Property& property,
                 const Value& before);

// What a read of the property gives now: the old value while the change
// settles (the read counts), else the machine's own value.
Value shown(Machine& machine, AudioObjectID object, const Property& property, Value value);

}  // namespace orvel::sim
