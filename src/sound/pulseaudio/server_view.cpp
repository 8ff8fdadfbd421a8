#include "sound/pulseaudio/server_view.h"

#include <algorithm>

namespace orvel::pulse {
namespace {

template <typename Devices>
auto named(Devices& devices, const std::string& name) {
  return std::find_if(devices.begin(), devices.end(),
                      [&](const DeviceInfo& device) { return device.name == name; });
}

}  // namespace

const DeviceInfo* ServerView::find(Direction direction, const std::string& name) const {
  const auto& devices = direction == Direction::output ? sinks : sources;
  const auto found = named(devices, name);
  return found == devices.end() ? nullptr : &*found;
}

const DeviceInfo* ServerView::sinkOrSource(const std::string& name) const {
  const DeviceInfo* sink = find(Direction::output, name);
  return sink != nullptr ? sink : find(Direction::input, name);
}

void ServerView::update(Direction direction, const DeviceInfo& device) {
  auto& devices = direction == Direction::output ? sinks : sources;
  const auto found = named(devices, device.name);
  if (found != devices.end()) *found = device;
}

std::optional<ServerView> readView(ServerCall& call) {
  pa_context* context = call.context().get();
  Request<ServerReply> server;
  Request<DevicesReply> sinks;
  Request<DevicesReply> sources;
  askServerInfo(context, server);
  askDevices(context, Direction::output, sinks);
  askDevices(context, Direction::input, sources);
  if (!call.waitForAnswers(server, sinks, sources) || !server.reply.answered ||
      sinks.reply.failed || sources.reply.failed) {
    return std::nullopt;
  }
  return ServerView{call.connectionNumber(), std::move(server.reply.defaultSink),
                    std::move(server.reply.defaultSource), std::move(sinks.reply.devices),
                    std::move(sources.reply.devices)};
}

}  // namespace orvel::pulse
