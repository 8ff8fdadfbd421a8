// CoreAudioSystem: the SoundSystem over CoreAudio's hardware-abstraction
// properties, on macOS and, off it, on the simulated layer.
//
// It holds no state: every operation resolves the UID to an object id again
// and reads CoreAudio afresh. Every CFString and buffer an operation obtains is
// released before it returns, on every path. No lock of its own; callers on
// several threads serialise their calls.
//
// A change waits until the device shows it, within the command's settle
// budget (settle.h), and is true once the hardware layer took it, shown or
// not: a change taken lands later all the same.
#pragma once

#include <CoreAudio/CoreAudio.h>

#include "sound/coreaudio/settle.h"
#include "sound/sound_system.h"

namespace orvel {

class CoreAudioSystem final : public SoundSystem {
 public:
  // Before any other property call, has the hardware layer tell of changes on
  // a thread of its own: a tool runs no run loop, the layer's default, so a long
  // switch would never see devices come and go or the default change.
  CoreAudioSystem();

  std::optional<std::string> defaultUID(Direction direction) override;
  bool setDefault(Direction direction, const std::string& uid) override;
  bool exists(const std::string& uid, Direction direction) override;
  std::optional<std::string> name(const std::string& uid) override;
  std::optional<double> rate(const std::string& uid) override;
  bool setRate(const std::string& uid, double hz) override;
  std::optional<std::string> layout(const std::string& uid) override;
  bool setLayout(const std::string& uid, const std::string& layoutText) override;
  VolumeMap volume(const std::string& uid) override;
  VolumeMap controls(const std::string& uid) override;
  bool setVolume(const std::string& uid, const std::string& key, double value) override;
  std::vector<DeviceRecord> devices() override;
  // The hardware layer answers while it can tell the size of its device list.
  bool answering() override;
  void beginCommand() override;

  // The nominal rates the device offers, from its ranges in their order: a
  // range's one value when its ends are equal, else its minimum and maximum.
  // Nothing is sorted or merged; empty when the ranges can't be read.
  std::vector<double> rates(AudioObjectID device);

 private:
  DeviceRecord record(AudioObjectID device, std::string uid);

  coreaudio::SettleBudget budget_;
};

}  // namespace orvel
