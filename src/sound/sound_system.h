// SoundSystem: the one seam between the tool and the machine's audio system.
//
// Devices are named only by their UID. Failure shows only through a result
// (nothing, false, an empty map or list); nothing throws. Within one command
// (beginCommand) an implementation may answer reads from one reading of the
// audio system, kept up to date with its own changes; nothing is kept from
// one command to the next. Callers that use one from several threads
// serialise their calls.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "settings/direction.h"
#include "settings/side.h"
#include "sound/device_record.h"

namespace orvel {

class SoundSystem {
 public:
  virtual ~SoundSystem() = default;

  // The UID of the default device for the direction; nothing when there is none
  // or it can't be read.
  virtual std::optional<std::string> defaultUID(Direction direction) = 0;
  // Makes the device the default; does not check its channels (see exists).
  // True once taken (setRate too); it may show only later (beginCommand).
  virtual bool setDefault(Direction direction, const std::string& uid) = 0;
  // Whether the UID names a present device with at least one channel that way.
  virtual bool exists(const std::string& uid, Direction direction) = 0;
  virtual std::optional<std::string> name(const std::string& uid) = 0;
  virtual std::optional<double> rate(const std::string& uid) = 0;
  virtual bool setRate(const std::string& uid, double hz) = 0;
  // Layout text: base64 of the preferred output layout's bytes, opaque to callers.
  virtual std::optional<std::string> layout(const std::string& uid) = 0;
  virtual bool setLayout(const std::string& uid, const std::string& layoutText) = 0;
  // Output volumes: {"0": main} when the main control reads, else the readable
  // channels "1".."N" (N = channel count raised to 1, cut to 16).
  virtual VolumeMap volume(const std::string& uid) = 0;
  // Every output volume control that can be read, the channels also where the
  // main control reads: "0" and "1".."N" (N as for volume). Where the system
  // has no main control of its own, "0" is the loudest channel, and setting it
  // sets every channel. Empty when the device or no control can be read.
  virtual VolumeMap controls(const std::string& uid) = 0;
  // Key: an element number as parseVolumeKey reads it. The value is taken into
  // 0..1 first (volume_level.h): no volume is ever set beyond.
  virtual bool setVolume(const std::string& uid, const std::string& key, double value) = 0;
  // Every device whose UID can be read, in the audio system's order.
  virtual std::vector<DeviceRecord> devices() = 0;
  // Whether the audio system answers at all now. False when it isn't running,
  // refuses us or doesn't answer in time: what tells "the sound system isn't
  // answering" apart from a device that isn't connected or a refused change.
  virtual bool answering() = 0;
  // A command's use begins (a switch, each restore): what an earlier one read is
  // read afresh, and the changes that follow get a new budget of time to show,
  // shared by all of their waits. A Mac applies a change after it took it; a
  // change taken that doesn't show within the budget counts as made, and a
  // read then still gives the old value.
  virtual void beginCommand() = 0;

 protected:
  SoundSystem() = default;
  SoundSystem(const SoundSystem&) = default;
  SoundSystem& operator=(const SoundSystem&) = default;
};

}  // namespace orvel
