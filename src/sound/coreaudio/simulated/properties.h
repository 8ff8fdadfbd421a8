// The properties of a simulated machine: what an address names on an object,
// the bytes of its value, and how a write changes the machine.
#pragma once

#include <CoreAudio/CoreAudio.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "machine.h"

namespace orvel::sim {

// One property of one object, valid while the machine is left unchanged.
struct Property {
  Device* device = nullptr;  // null for the system object
  AudioObjectPropertyAddress address{};
  std::string name;       // the name that faults use
  bool present = false;   // the machine holds a value for it
  bool writable = false;  // this kind of property can be changed at all
};

// Nothing when the object exists but has no such property.
std::optional<Property> findProperty(Machine& machine, AudioObjectID object,
                                     const AudioObjectPropertyAddress& address);

bool objectExists(const Machine& machine, AudioObjectID object);

std::optional<Fault> faultOf(const Machine& machine, const Property& property);

// A property's value: raw bytes, or text that is handed out as a new CFString.
struct Value {
  std::vector<std::uint8_t> bytes;
  std::optional<std::string> string;
  bool fixedSize = true;  // a read must offer room for the whole value

  UInt32 size() const;
};

// uidQuery: the UID to translate, for kAudioHardwarePropertyTranslateUIDToDevice.
Value valueOf(const Machine& machine, const Property& property, const std::string* uidQuery);

// Changes the machine as a write of the bytes asks; the status a device gives.
OSStatus write(Machine& machine, const Property& property, const void* data, UInt32 size);

// Sets a rate, layout, volume or default to bytes that a read gave, without the
// checks of a write: how a change that settles is held back and later shown.
// Nothing for an object or property that is gone.
void assign(Machine& machine, AudioObjectID object, const AudioObjectPropertyAddress& address,
            const std::vector<std::uint8_t>& bytes);

}  // namespace orvel::sim
