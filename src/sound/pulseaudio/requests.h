// The requests the backend sends, each started without waiting for its answer
// so that several can travel together. Each fills the reply it is given from
// its callback; a reply must stay in place until its Operation is released
// (declare replies before operations).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <pulse/context.h>

#include "settings/direction.h"
#include "sound/pulseaudio/handles.h"

namespace orvel::pulse {

// What the backend reads of one sink or source, in plain types.
struct DeviceInfo {
  std::string name;                        // the UID
  std::optional<std::string> description;  // the display name
  std::uint32_t index = 0;                 // the server's number, valid while the device stays
  std::uint32_t channels = 0;
  std::uint32_t rate = 0;                 // Hz
  std::optional<std::string> channelMap;  // text form ("front-left,front-right")
  std::vector<std::uint32_t> volumes;     // one raw server volume per channel
  bool monitor = false;                   // a source that records what a sink plays
};

struct DevicesReply {
  std::vector<DeviceInfo> devices;
  bool failed = false;  // an error answer, such as no device of that name

  // The device a by-name request found, when it has exactly that name:
  // PipeWire also answers a sink's name with its monitor and the other way round.
  const DeviceInfo* found(const std::string& name) const {
    if (failed || devices.empty() || devices[0].name != name) return nullptr;
    return &devices[0];
  }
};

struct ServerReply {
  bool answered = false;
  std::optional<std::string> defaultSink;
  std::optional<std::string> defaultSource;

  const std::optional<std::string>& defaultName(Direction direction) const {
    return direction == Direction::output ? defaultSink : defaultSource;
  }
};

struct SuccessReply {
  bool success = false;  // the server took the change
};

// The sink (output) or source (input) of that name.
Operation requestDevice(pa_context* context, Direction direction, const std::string& name,
                        DevicesReply& reply);
// Every sink (output) or source (input), in the server's order.
Operation requestDevices(pa_context* context, Direction direction, DevicesReply& reply);
Operation requestServer(pa_context* context, ServerReply& reply);
Operation requestDefault(pa_context* context, Direction direction, const std::string& name,
                         SuccessReply& reply);
// Sets the sink's channel volumes, one raw server volume per channel.
Operation requestSinkVolume(pa_context* context, std::uint32_t sinkIndex,
                            const std::vector<std::uint32_t>& volumes, SuccessReply& reply);
// Asks to be told of server changes (see Context::serverEvents).
Operation requestServerEvents(pa_context* context, SuccessReply& reply);

}  // namespace orvel::pulse
