#include "sound/coreaudio/device_lookup.h"

#include "sound/coreaudio/cf_string.h"
#include "sound/coreaudio/property.h"
#include "sound/coreaudio/system_object.h"

namespace orvel::coreaudio {

std::optional<AudioObjectID> device(const std::string& uid) {
  const CFStringOwner qualifier = makeCFString(uid);
  if (!qualifier) return std::nullopt;  // no CFString holds text that isn't UTF-8
  const CFStringRef uidString = qualifier.get();
  const AudioObjectPropertyAddress where = address(kAudioHardwarePropertyTranslateUIDToDevice);
  AudioObjectID id = kAudioObjectUnknown;
  UInt32 size = sizeof id;
  const OSStatus status =
      AudioObjectGetPropertyData(systemObject, &where, sizeof uidString, &uidString, &size, &id);
  if (status != 0 || id == kAudioObjectUnknown) return std::nullopt;
  return id;
}

AudioObjectPropertySelector defaultSelector(Direction direction) {
  return direction == Direction::output ? kAudioHardwarePropertyDefaultOutputDevice
                                        : kAudioHardwarePropertyDefaultInputDevice;
}

}  // namespace orvel::coreaudio
