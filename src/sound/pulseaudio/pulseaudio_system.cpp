#include "sound/pulseaudio/pulseaudio_system.h"

#include <vector>

#include "sound/base64.h"
#include "sound/pulseaudio/conversions.h"
#include "sound/pulseaudio/requests.h"
#include "sound/pulseaudio/server_link.h"
#include "sound/volume_key.h"

namespace orvel {

using namespace pulse;

namespace {

using Text = std::optional<std::string>;
using Device = std::optional<DeviceInfo>;

// The sink (output) or source (input) of that name: one round trip.
Device findDevice(ServerCall& call, Direction direction, const std::string& uid) {
  DevicesReply reply;
  const Operation operations[] = {requestDevice(call.context().get(), direction, uid, reply)};
  if (!call.wait(operations) || reply.found(uid) == nullptr) return std::nullopt;
  return *reply.found(uid);
}

// The device of that name, asked in a call of its own.
Device device(ServerLink& link, Direction direction, const std::string& uid) {
  if (!isDeviceName(uid)) return std::nullopt;
  return askServer(link, Device(),
                   [&](ServerCall& call) { return findDevice(call, direction, uid); });
}

// The sink of that name, else the source: both asked for in one round trip.
Device sinkOrSource(ServerLink& link, const std::string& uid) {
  if (!isDeviceName(uid)) return std::nullopt;
  return askServer(link, Device(), [&](ServerCall& call) -> Device {
    DevicesReply sink;
    DevicesReply source;
    pa_context* context = call.context().get();
    const Operation operations[] = {requestDevice(context, Direction::output, uid, sink),
                                    requestDevice(context, Direction::input, uid, source)};
    if (!call.wait(operations)) return std::nullopt;
    if (sink.found(uid) != nullptr) return *sink.found(uid);
    if (source.found(uid) != nullptr) return *source.found(uid);
    return std::nullopt;
  });
}

// The server's default for the direction, asked afresh: one round trip.
Text serverDefault(ServerCall& call, Direction direction) {
  ServerReply server;
  const Operation operations[] = {requestServer(call.context().get(), server)};
  if (!call.wait(operations)) return std::nullopt;
  return server.defaultName(direction);
}

// Waits, within the call's deadline, until the server reports the new default:
// PipeWire takes the change first and applies it a moment later, telling its
// subscribers with a server event. Each read of the default follows a count of
// the events, so an event that comes before the read is no event waited for.
bool awaitDefault(ServerCall& call, Direction direction, const std::string& uid, Text reported) {
  Context& context = call.context();
  if (reported == uid) return true;
  for (;;) {
    const auto seen = context.serverEvents();
    if (serverDefault(call, direction) == uid) return true;
    if (!call.waitFor([&] { return context.serverEvents() != seen; })) return false;
  }
}

// Two round trips: the device is looked up before it is made the default, as
// PipeWire would take a sink's name for its monitor source (and the other way
// round). The lookup carries the subscription to server events (once per
// connection); the change carries a read-back, which on PulseAudio already
// shows the new default.
bool makeDefault(ServerCall& call, Direction direction, const std::string& uid) {
  Context& context = call.context();
  SuccessReply subscribed;
  DevicesReply device;
  std::vector<Operation> lookup;
  if (!context.subscribed()) lookup.push_back(requestServerEvents(context.get(), subscribed));
  lookup.push_back(requestDevice(context.get(), direction, uid, device));
  if (!call.wait(lookup) || device.found(uid) == nullptr) return false;
  if (subscribed.success) context.markSubscribed();
  SuccessReply changed;
  ServerReply server;
  const Operation change[] = {requestDefault(context.get(), direction, uid, changed),
                              requestServer(context.get(), server)};
  if (!call.wait(change) || !changed.success) return false;
  return awaitDefault(call, direction, uid, server.defaultName(direction));
}

// Two round trips: the sink's channels first, for a volume of its own channel count.
bool changeVolume(ServerCall& call, const std::string& uid, std::uint32_t element,
                  std::uint32_t volume) {
  const auto sink = findDevice(call, Direction::output, uid);
  if (!sink) return false;
  const auto channels = withElement(sink->volumes, element, volume);
  if (!channels) return false;
  SuccessReply changed;
  const Operation operations[] = {
      requestSinkVolume(call.context().get(), sink->index, *channels, changed)};
  return call.wait(operations) && changed.success;
}

}  // namespace

PulseAudioSystem::PulseAudioSystem() : link_(std::make_unique<ServerLink>()) {}
PulseAudioSystem::~PulseAudioSystem() = default;

// The server's default name and the device it resolves to travel together; a
// default that resolves to another name (or to nothing) names no present device.
Text PulseAudioSystem::defaultUID(Direction direction) {
  return askServer(*link_, Text(), [&](ServerCall& call) -> Text {
    const std::string current =
        direction == Direction::output ? "@DEFAULT_SINK@" : "@DEFAULT_SOURCE@";
    ServerReply server;
    DevicesReply device;
    pa_context* context = call.context().get();
    const Operation operations[] = {requestServer(context, server),
                                    requestDevice(context, direction, current, device)};
    if (!call.wait(operations)) return std::nullopt;
    const auto& name = server.defaultName(direction);
    if (!name || device.found(*name) == nullptr) return std::nullopt;
    return name;
  });
}

bool PulseAudioSystem::setDefault(Direction direction, const std::string& uid) {
  if (!isDeviceName(uid)) return false;
  return askServer(*link_, false,
                   [&](ServerCall& call) { return makeDefault(call, direction, uid); });
}

bool PulseAudioSystem::exists(const std::string& uid, Direction direction) {
  const auto found = device(*link_, direction, uid);
  return found.has_value() && found->channels >= 1;
}

Text PulseAudioSystem::name(const std::string& uid) {
  const auto found = sinkOrSource(*link_, uid);
  if (!found) return std::nullopt;
  return found->description;
}

std::optional<double> PulseAudioSystem::rate(const std::string& uid) {
  const auto found = sinkOrSource(*link_, uid);
  if (!found || found->rate == 0) return std::nullopt;
  return found->rate;
}

bool PulseAudioSystem::setRate(const std::string&, double) {
  return false;
}

Text PulseAudioSystem::layout(const std::string& uid) {
  const auto sink = device(*link_, Direction::output, uid);
  if (!sink || !sink->channelMap) return std::nullopt;
  const std::string& text = *sink->channelMap;
  return base64Encode(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

bool PulseAudioSystem::setLayout(const std::string&, const std::string&) {
  return false;
}

VolumeMap PulseAudioSystem::volume(const std::string& uid) {
  const auto sink = device(*link_, Direction::output, uid);
  if (!sink) return {};
  return volumeMap(sink->volumes);
}

VolumeMap PulseAudioSystem::controls(const std::string& uid) {
  const auto sink = device(*link_, Direction::output, uid);
  if (!sink) return {};
  return controlMap(sink->volumes);
}

bool PulseAudioSystem::setVolume(const std::string& uid, const std::string& key, double value) {
  const auto element = parseVolumeKey(key);
  if (!element || !isDeviceName(uid)) return false;
  return askServer(*link_, false, [&](ServerCall& call) {
    return changeVolume(call, uid, *element, serverVolume(value));
  });
}

// Sinks and sources travel together: one round trip.
std::vector<DeviceRecord> PulseAudioSystem::devices() {
  using Records = std::vector<DeviceRecord>;
  return askServer(*link_, Records(), [&](ServerCall& call) -> Records {
    DevicesReply sinks;
    DevicesReply sources;
    pa_context* context = call.context().get();
    const Operation operations[] = {requestDevices(context, Direction::output, sinks),
                                    requestDevices(context, Direction::input, sources)};
    if (!call.wait(operations) || sinks.failed || sources.failed) return {};
    return deviceRecords(sinks.devices, sources.devices);
  });
}

bool PulseAudioSystem::answering() {
  return askServer(*link_, false, [](ServerCall&) { return true; });
}

}  // namespace orvel
