#include "sound/pulseaudio/pulseaudio_system.h"

#include <vector>

#include "sound/base64.h"
#include "sound/pulseaudio/conversions.h"
#include "sound/pulseaudio/requests.h"
#include "sound/pulseaudio/server_link.h"
#include "sound/pulseaudio/server_view.h"
#include "sound/volume_key.h"

namespace orvel {

using namespace pulse;

namespace {

using Text = std::optional<std::string>;

// One round trip: the subscription to events with the first change of a
// connection (so that no event of the change is missed), then the change and
// its read-back, both sent by `send`. Whether the server took the change.
template <typename ReadBack, typename Send>
bool change(ServerCall& call, ReadBack& readBack, Send send) {
  Context& context = call.context();
  Request<SuccessReply> subscribed;
  Request<SuccessReply> changed;
  const bool subscribing = !context.subscribed();
  if (subscribing) askEvents(context.get(), subscribed);
  send(changed, readBack);
  const bool answered = subscribing ? call.waitForAnswers(subscribed, changed, readBack)
                                    : call.waitForAnswers(changed, readBack);
  if (subscribed.reply.success) context.markSubscribed();
  return answered && changed.reply.success;
}

// Waits, within the call's deadline, until `shows` holds for a fresh read-back:
// PipeWire takes a change first and applies it a moment later, telling its
// subscribers with an event. Each read follows a count of the events, so an
// event that comes before the read is no event waited for. On PulseAudio the
// first read-back shows the change already.
template <typename ReadBack, typename Ask, typename Shows>
bool awaitShown(ServerCall& call, ReadBack& readBack, Ask ask, Shows shows) {
  Context& context = call.context();
  while (!shows(readBack.reply)) {
    const auto seen = context.events();
    if (!call.waitFor([&] { return context.events() != seen; })) return false;
    readBack.operation = Operation();
    readBack.reply = {};
    ask(readBack);
    if (!call.waitForAnswers(readBack)) return false;
  }
  return true;
}

bool makeDefault(ServerCall& call, Direction direction, const std::string& uid) {
  pa_context* context = call.context().get();
  Request<ServerReply> server;
  const auto send = [&](Request<SuccessReply>& changed, Request<ServerReply>& readBack) {
    askDefault(context, direction, uid, changed);
    askServerInfo(context, readBack);
  };
  return change(call, server, send) &&
         awaitShown(
             call, server, [&](Request<ServerReply>& again) { askServerInfo(context, again); },
             [&](const ServerReply& reply) { return reply.defaultName(direction) == uid; });
}

// The sink as the server reads it back once it shows the new volumes (a
// server may round them by a step); nothing when the change was refused.
std::optional<DeviceInfo> changeVolume(ServerCall& call, const std::string& uid,
                                       const std::vector<std::uint32_t>& channels) {
  pa_context* context = call.context().get();
  Request<DevicesReply> sink;
  const auto send = [&](Request<SuccessReply>& changed, Request<DevicesReply>& readBack) {
    askSinkVolume(context, uid, channels, changed);
    askDevice(context, Direction::output, uid, readBack);
  };
  if (!change(call, sink, send)) return std::nullopt;
  const auto shows = [&](const DevicesReply& reply) {
    const DeviceInfo* device = reply.found(uid);
    return device != nullptr && sameVolumes(device->volumes, channels);
  };
  const auto ask = [&](Request<DevicesReply>& again) {
    askDevice(context, Direction::output, uid, again);
  };
  if (awaitShown(call, sink, ask, shows)) return *sink.reply.found(uid);
  // Taken, and not shown within the deadline: what was asked stands for it.
  DeviceInfo asked = sink.reply.found(uid) != nullptr ? *sink.reply.found(uid) : DeviceInfo{};
  asked.name = uid;
  asked.volumes = channels;
  return asked;
}

}  // namespace

PulseAudioSystem::PulseAudioSystem() : link_(std::make_unique<ServerLink>()) {}
PulseAudioSystem::~PulseAudioSystem() = default;

ServerView* PulseAudioSystem::view() {
  // A view read on an earlier connection is of a server that may have restarted.
  if (view_ && view_->connection == link_->connections()) return view_.get();
  auto read = askServer(*link_, std::optional<ServerView>(), readView);
  view_ = read ? std::make_unique<ServerView>(std::move(*read)) : nullptr;
  return view_.get();
}

void PulseAudioSystem::beginCommand() {
  view_.reset();  // a new command reads the server afresh
}

// A default that resolves to no present device of its name names none.
Text PulseAudioSystem::defaultUID(Direction direction) {
  ServerView* known = view();
  if (known == nullptr) return std::nullopt;
  const Text& name = known->defaultName(direction);
  if (!name || known->find(direction, *name) == nullptr) return std::nullopt;
  return name;
}

// The device must be there: PipeWire would take a sink's name for its monitor
// source (and the other way round).
bool PulseAudioSystem::setDefault(Direction direction, const std::string& uid) {
  ServerView* known = view();
  if (!isDeviceName(uid) || known == nullptr || known->find(direction, uid) == nullptr) {
    return false;
  }
  const bool made =
      askServer(*link_, false, [&](ServerCall& call) { return makeDefault(call, direction, uid); });
  if (made && view_) view_->defaultName(direction) = uid;
  return made;
}

bool PulseAudioSystem::exists(const std::string& uid, Direction direction) {
  const ServerView* known = view();
  const DeviceInfo* device = known != nullptr ? known->find(direction, uid) : nullptr;
  return device != nullptr && device->channels >= 1;
}

Text PulseAudioSystem::name(const std::string& uid) {
  const ServerView* known = view();
  const DeviceInfo* device = known != nullptr ? known->sinkOrSource(uid) : nullptr;
  if (device == nullptr) return std::nullopt;
  return device->description;
}

std::optional<double> PulseAudioSystem::rate(const std::string& uid) {
  const ServerView* known = view();
  const DeviceInfo* device = known != nullptr ? known->sinkOrSource(uid) : nullptr;
  if (device == nullptr || device->rate == 0) return std::nullopt;
  return device->rate;
}

bool PulseAudioSystem::setRate(const std::string&, double) {
  return false;
}

Text PulseAudioSystem::layout(const std::string& uid) {
  const DeviceInfo* sink = this->sink(uid);
  if (sink == nullptr || !sink->channelMap) return std::nullopt;
  const std::string& text = *sink->channelMap;
  return base64Encode(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

bool PulseAudioSystem::setLayout(const std::string&, const std::string&) {
  return false;
}

VolumeMap PulseAudioSystem::volume(const std::string& uid) {
  const DeviceInfo* sink = this->sink(uid);
  return sink != nullptr ? volumeMap(sink->volumes) : VolumeMap();
}

VolumeMap PulseAudioSystem::controls(const std::string& uid) {
  const DeviceInfo* sink = this->sink(uid);
  return sink != nullptr ? controlMap(sink->volumes) : VolumeMap();
}

bool PulseAudioSystem::setVolume(const std::string& uid, const std::string& key, double value) {
  const auto element = parseVolumeKey(key);
  const DeviceInfo* sink = this->sink(uid);
  if (!element || !isDeviceName(uid) || sink == nullptr) return false;
  const auto channels = withElement(sink->volumes, *element, serverVolume(value));
  if (!channels) return false;
  const auto after = askServer(*link_, std::optional<DeviceInfo>(), [&](ServerCall& call) {
    return changeVolume(call, uid, *channels);
  });
  if (!after) return false;
  if (view_ && after->name == uid) view_->update(Direction::output, *after);
  return true;
}

std::vector<DeviceRecord> PulseAudioSystem::devices() {
  const ServerView* known = view();
  if (known == nullptr) return {};
  return deviceRecords(known->sinks, known->sources);
}

bool PulseAudioSystem::answering() {
  return askServer(*link_, false, [](ServerCall&) { return true; });
}

const DeviceInfo* PulseAudioSystem::sink(const std::string& uid) {
  const ServerView* known = view();
  return known != nullptr ? known->find(Direction::output, uid) : nullptr;
}

}  // namespace orvel
