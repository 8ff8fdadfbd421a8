// PulseAudioSystem: the sound system over libpulse, for PulseAudio and for
// PipeWire's pulse server alike.
//
// A device's UID is the name of its sink and/or source; its output side is the
// sink. The server is reached through one connection per process, opened on
// first use (making the object doesn't touch the server), and every operation
// gives up after about two seconds, so a gone or hung server means absent,
// false or empty, never a hang. A command's reads are answered from one view
// of the server, asked for at once on the first of them (server_view.h), and
// its writes update that view from the server's answers; beginCommand
// starts a new command. Calls must be serialised; any thread may make them.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sound/sound_system.h"

namespace orvel {

namespace pulse {
class ServerLink;
struct DeviceInfo;
struct ServerView;
}  // namespace pulse

class PulseAudioSystem final : public SoundSystem {
 public:
  PulseAudioSystem();
  ~PulseAudioSystem() override;
  PulseAudioSystem(const PulseAudioSystem&) = delete;
  PulseAudioSystem& operator=(const PulseAudioSystem&) = delete;

  // The server's default sink or source; absent when it names nothing present.
  std::optional<std::string> defaultUID(Direction direction) override;
  // True once the server reports the device as its default (PipeWire applies
  // the change a moment after taking it).
  bool setDefault(Direction direction, const std::string& uid) override;
  bool exists(const std::string& uid, Direction direction) override;
  // The description; the sink's when there is both a sink and a source.
  std::optional<std::string> name(const std::string& uid) override;
  // The device's sample rate; the sink's when there is both a sink and a source.
  std::optional<double> rate(const std::string& uid) override;
  // False: no client can change a device's rate.
  bool setRate(const std::string& uid, double hz) override;
  // Base64 of the sink's channel map in text form.
  std::optional<std::string> layout(const std::string& uid) override;
  // False: no client can change a device's channel map.
  bool setLayout(const std::string& uid, const std::string& layoutText) override;
  // The sink's channel volumes (see volumes.h); a source has none here.
  VolumeMap volume(const std::string& uid) override;
  VolumeMap controls(const std::string& uid) override;
  bool setVolume(const std::string& uid, const std::string& key, double value) override;
  std::vector<DeviceRecord> devices() override;
  // A connection can be had within the deadline (no round trip while one is open).
  bool answering() override;
  // Forgets the view; the server shows a change within each call's own deadline.
  void beginCommand() override;

 private:
  // The command's view, read on first use; nothing when the server doesn't answer.
  pulse::ServerView* view();
  const pulse::DeviceInfo* sink(const std::string& uid);

  std::unique_ptr<pulse::ServerLink> link_;
  std::unique_ptr<pulse::ServerView> view_;
};

}  // namespace orvel
