// The default devices, presence and names.
#include "sound/coreaudio/core_audio_system.h"

#include "sound/coreaudio/device_lookup.h"
#include "sound/coreaudio/property.h"
#include "sound/coreaudio/settle.h"
#include "sound/coreaudio/system_object.h"

namespace orvel {

using namespace coreaudio;

namespace {

AudioObjectPropertyScope streamScope(Direction direction) {
  return direction == Direction::output ? kAudioDevicePropertyScopeOutput
                                        : kAudioDevicePropertyScopeInput;
}

}  // namespace

CoreAudioSystem::CoreAudioSystem() {
  const AudioObjectPropertyAddress where = address(kAudioHardwarePropertyRunLoop);
  const CFRunLoopRef none = nullptr;
  AudioObjectSetPropertyData(systemObject, &where, 0, nullptr, sizeof none, &none);
}

std::optional<std::string> CoreAudioSystem::defaultUID(Direction direction) {
  const auto id =
      get<AudioObjectID>(systemObject, address(defaultSelector(direction)), kAudioObjectUnknown);
  if (!id || *id == kAudioObjectUnknown) return std::nullopt;
  return string(*id, kAudioDevicePropertyDeviceUID);
}

bool CoreAudioSystem::setDefault(Direction direction, const std::string& uid) {
  const auto id = device(uid);
  if (!id) return false;
  const AudioObjectPropertyAddress where = address(defaultSelector(direction));
  if (!set<AudioObjectID>(systemObject, where, *id)) return false;
  budget_.settles([&] { return get<AudioObjectID>(systemObject, where, 0) == *id; });
  return true;  // taken: a change not shown yet lands later
}

void CoreAudioSystem::beginCommand() {
  budget_.renew();
}

bool CoreAudioSystem::exists(const std::string& uid, Direction direction) {
  const auto id = device(uid);
  return id && channels(*id, streamScope(direction)) > 0;
}

std::optional<std::string> CoreAudioSystem::name(const std::string& uid) {
  const auto id = device(uid);
  if (!id) return std::nullopt;
  return string(*id, kAudioObjectPropertyName);
}

}  // namespace orvel
