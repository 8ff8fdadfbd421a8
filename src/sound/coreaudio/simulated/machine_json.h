// The machine file: a simulated Mac as JSON, for orvel-sound-sim.
//
//   {"defaultOutput": 2, "defaultInput": 3, "fixed": ["defaultOutput"],
//    "faults": {"devices": "unreadable"}, "slowCalls": 0,
//    "pending": [{"object": 2, "selector": 1853059700, "element": 0,
//                 "value": "AAAAAABw50A=", "due": 1795000000000}],
//    "devices": [
//      {"id": 2, "uid": "desk-uid", "name": "Desk Speakers",
//       "output": [2], "input": [],
//       "rate": 44100, "rateRanges": [[44100, 44100], [48000, 48000]],
//       "layout": "AgBlAAAAAAAAAAAA", "volume": {"0": 0.5, "1": 0.25}, "volumeSteps": 64,
//       "lag": {"rate": 2000, "default": 500},
//       "fixed": ["rate"], "faults": {"volume.1": "unreadable"}}]}
//
// - defaultOutput, defaultInput: object ids; 0 or absent is no default device.
// - devices: in the order the device list gives them; ids are 2 and up (1 is the
//   system object). A device member that is absent is a property the device
//   lacks: no "uid", "name", "rate", "rateRanges" or "layout" property, no
//   stream configuration without "output" or "input".
// - output, input: the channel count of each buffer of the stream
//   configuration, in order; [] is a configuration with no buffers.
// - rateRanges: [minimum, maximum] pairs in Hz. A rate outside every range is
//   refused; without rateRanges any positive rate is taken.
// - layout: the preferred output layout's raw bytes in base64.
// - volume: output element number to scalar, kept as a 32-bit float; an element
//   not listed has no control. volumeSteps: the controls hold only the values
//   of that many steps from 0 to 1 (Device::volumeSteps): a starting value, and
//   a set one, is taken as the nearest.
// - lag: milliseconds until a change shows, by "rate", "layout", "volume" and
//   "default" (a default moved to this device). Until then every process reads
//   the old value, and the change waits in the top's "pending": the object (1
//   for a default), the property's selector and element, the new value's bytes
//   in base64, and when it shows (milliseconds since the epoch). A later change
//   of the same property replaces it.
// - slowCalls: milliseconds that every property call takes.
// - fixed (device: "rate", "layout", "volume"; top: "defaultOutput",
//   "defaultInput"): the property exists but can't be changed.
// - faults (device or top): property name to "missing", "unreadable", "fixed"
//   or "refused"; the names are those of sim::Faults (machine.h).
//
// Reading never fails: text that isn't JSON, or whose top level isn't an
// object, is an unreadable machine (unreadableMachine); a member of the wrong
// type counts as absent; a device without a unique id of 2 or more is left out.
#pragma once

#include <string>
#include <string_view>

#include "machine.h"

namespace orvel::sim {

Machine machineFromText(std::string_view text);

// No devices, a device list that can't be read, never written back.
Machine unreadableMachine();

// The machine in the form above; its call log is not part of it.
std::string machineText(const Machine& machine);

}  // namespace orvel::sim
