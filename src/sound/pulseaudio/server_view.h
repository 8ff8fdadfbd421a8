// ServerView: what the server holds, asked for all at once (its defaults and
// every sink and source with their volumes, channel maps and rates), so that
// a command waits for one round trip, not one per question. A command's writes
// bring it up to date from the server's own answers; it lives only as long as
// one command's use of the sound system.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "settings/direction.h"
#include "sound/pulseaudio/requests.h"
#include "sound/pulseaudio/server_link.h"

namespace orvel::pulse {

struct ServerView {
  std::uint64_t connection = 0;  // the connection it was read on (ServerCall::connectionNumber)
  std::optional<std::string> defaultSink;
  std::optional<std::string> defaultSource;
  std::vector<DeviceInfo> sinks;
  std::vector<DeviceInfo> sources;

  // The sink (output) or source (input) of exactly that name.
  const DeviceInfo* find(Direction direction, const std::string& name) const;
  // The sink of that name, else the source.
  const DeviceInfo* sinkOrSource(const std::string& name) const;
  std::optional<std::string>& defaultName(Direction direction) {
    return direction == Direction::output ? defaultSink : defaultSource;
  }
  // Puts a device as the server read it back in place of the one of its name.
  void update(Direction direction, const DeviceInfo& device);
};

// One round trip; nothing when the server doesn't answer them all.
std::optional<ServerView> readView(ServerCall& call);

}  // namespace orvel::pulse
