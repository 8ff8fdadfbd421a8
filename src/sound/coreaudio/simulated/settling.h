// Changes that settle later, as on a real Mac: a change of a device's rate,
// layout or volumes, or of a default to a device, with a lag (Device::lag)
// leaves the old value in place and waits in Machine::pending until its time,
// seen alike by every process that shares the machine file.
#pragma once

#include <CoreAudio/CoreAudio.h>

#include "machine.h"
#include "properties.h"

namespace orvel::sim {

// After a write that the machine took; `before` is the value the write replaced.
void settleLater(Machine& machine, AudioObjectID object, const Property& property,
                 const Value& before);

// Applies the changes whose time has come; whether any did.
bool applyDue(Machine& machine);

}  // namespace orvel::sim
