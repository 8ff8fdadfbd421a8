// The requests the backend sends, each started without waiting for its answer
// so that several travel together. A Request holds both the answer that the
// request's callback fills and the pending operation: releasing the operation
// cancels the callback, and the two are one object whose members go in the
// right order, so no callback ever writes to an answer that is gone. A Request
// stays where it was made (it can be neither copied nor moved).
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

template <typename Reply>
class Request {
 public:
  Request() = default;
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;

  Reply reply;
  Operation operation;  // after the reply: released, and so cancelled, before it goes
};

// The sink (output) or source (input) of that name.
void askDevice(pa_context* context, Direction direction, const std::string& name,
               Request<DevicesReply>& request);
// Every sink (output) or source (input), in the server's order.
void askDevices(pa_context* context, Direction direction, Request<DevicesReply>& request);
void askServerInfo(pa_context* context, Request<ServerReply>& request);
void askDefault(pa_context* context, Direction direction, const std::string& name,
                Request<SuccessReply>& request);
// Sets the sink's channel volumes, one raw server volume per channel.
void askSinkVolume(pa_context* context, const std::string& sinkName,
                   const std::vector<std::uint32_t>& volumes, Request<SuccessReply>& request);
// Asks to be told of changes of the server and its sinks (see Context::events).
void askEvents(pa_context* context, Request<SuccessReply>& request);

}  // namespace orvel::pulse
