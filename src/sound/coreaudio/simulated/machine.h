// The simulated Mac behind the stand-in CoreAudio calls, and the API through
// which tests build one, inject faults and read what the backend called.
//
// A machine is either installed in process (use) or, when none is, read afresh
// from the file that ORVEL_SOUND_SIM_MACHINE names on every CoreAudio call and
// written back whole after an accepted change that changed it (machine_file.h).
// Calls are serialised by one lock, and each call on the file holds a lock on
// it from its load to its save, so several threads and processes may share one
// machine without losing each other's changes.
#pragma once

#include <CoreAudio/CoreAudio.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace orvel::sim {

// How one property misbehaves.
enum class Fault {
  missing,     // HasProperty false; every other call fails with 'who?'
  unreadable,  // HasProperty true; the size and data reads fail
  fixed,       // exists, but IsSettable says no and writes fail
  refused,     // IsSettable says yes, but writes fail
};

// Faults by property name. On a device: "uid", "name", "output", "input",
// "rate", "rateRanges", "layout", "volume" (every element) or "volume.N"
// (element N only, taking precedence). On the machine: "devices",
// "defaultOutput", "defaultInput", "translate".
using Faults = std::map<std::string, Fault>;

// One device; an absent member is a property the device lacks.
struct Device {
  AudioObjectID id = 0;  // 2 and up; 1 is the system object
  std::optional<std::string> uid;
  std::optional<std::string> name;
  std::optional<std::vector<UInt32>> output;  // channels of each output buffer, in order
  std::optional<std::vector<UInt32>> input;
  std::optional<Float64> rate;
  std::optional<std::vector<AudioValueRange>> rateRanges;
  // The preferred output layout's raw bytes; a write must hold whole descriptions.
  std::optional<std::vector<std::uint8_t>> layout;
  std::map<AudioObjectPropertyElement, Float32> volume;  // output controls: 0 main, 1.. channels
  Faults faults;
  // A real control holds 0..1 in steps: with steps > 0 a set volume is clamped
  // and taken as the nearest k/steps (64 steps give 0.296875 for 0.3).
  unsigned volumeSteps = 0;
  // A real Mac takes a change and applies it later: milliseconds until a change
  // of the device's "rate", "layout" or "volume", or of a "default" moved to
  // the device, shows. Until then every process reads the old value.
  std::map<std::string, unsigned> lag;
};

enum class Function {
  hasProperty,
  isSettable,
  getPropertyDataSize,
  getPropertyData,
  setPropertyData
};

struct Call {
  Function function;
  AudioObjectID object;
  AudioObjectPropertyAddress address;
};

// A change taken and not shown yet: the property's new bytes, and when they show.
struct Pending {
  AudioObjectID object = 0;  // 1 for a default
  AudioObjectPropertySelector selector = 0;
  AudioObjectPropertyElement element = 0;
  std::vector<std::uint8_t> bytes;
  std::int64_t due = 0;  // milliseconds since the epoch: the same in every process

  bool sameProperty(const Pending& other) const {
    return object == other.object && selector == other.selector && element == other.element;
  }
  friend bool operator==(const Pending&, const Pending&) = default;
};

struct Machine {
  AudioObjectID defaultOutput = 0;  // 0: no default device
  AudioObjectID defaultInput = 0;
  // kAudioHardwarePropertyRunLoop set to NULL: notifications come on a thread of
  // the hardware layer's own, not on a run loop that a tool never runs.
  bool notificationThread = false;
  std::vector<Device> devices;  // in the order the device list gives them
  Faults faults;
  // False for a machine file that couldn't be read: its hardware layer doesn't
  // answer (the device list can't be read), and it is never written back.
  bool readable = true;
  std::vector<Call> calls;       // every property call made on this machine, in order
  std::vector<Pending> pending;  // changes still settling (see Device::lag)
  unsigned slowCalls = 0;        // milliseconds that every property call takes

  Device* find(AudioObjectID id);
  Device* findUID(const std::string& uid);
  // How many calls of the function were made, for one selector or for all.
  std::size_t count(Function function) const;
  std::size_t count(Function function, AudioObjectPropertySelector selector) const;
};

// Every CoreAudio call of this process goes to the machine from now on; the
// caller keeps it alive until useFile().
void use(Machine& machine);
// Back to the file-backed machine.
void useFile();

// CFStrings created and not yet released, over the whole process.
std::size_t liveStrings();

}  // namespace orvel::sim
