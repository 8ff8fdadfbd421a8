// The primitives through which the backend reads and writes CoreAudio
// properties. Each asks CoreAudio afresh and tells failure only by its result.
#pragma once

#include <CoreAudio/CoreAudio.h>

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>

namespace orvel::coreaudio {

AudioObjectPropertyAddress address(
    AudioObjectPropertySelector selector,
    AudioObjectPropertyScope scope = kAudioObjectPropertyScopeGlobal,
    AudioObjectPropertyElement element = kAudioObjectPropertyElementMain);

// A fixed-size value, read into `start` with one call once the object is known
// to have the property. Nothing when it lacks it or the read fails.
template <typename T>
requires std::is_trivially_copyable_v<T> std::optional<T> get(
    AudioObjectID object, const AudioObjectPropertyAddress& where, T start) {
  if (!AudioObjectHasProperty(object, &where)) return std::nullopt;
  T value = start;
  UInt32 size = sizeof value;
  if (AudioObjectGetPropertyData(object, &where, 0, nullptr, &size, &value) != 0) {
    return std::nullopt;
  }
  return value;
}

// Writes a fixed-size value if the property exists and can be changed; true
// when CoreAudio takes it.
template <typename T>
requires std::is_trivially_copyable_v<T>
bool set(AudioObjectID object, const AudioObjectPropertyAddress& where, T value) {
  if (!AudioObjectHasProperty(object, &where)) return false;
  Boolean settable = false;
  if (AudioObjectIsPropertySettable(object, &where, &settable) != 0 || !settable) return false;
  return AudioObjectSetPropertyData(object, &where, 0, nullptr, sizeof value, &value) == 0;
}

// A CFString property of the global scope, as text. Nothing when the read
// fails or gives no string; the string read is released before returning.
std::optional<std::string> string(AudioObjectID object, AudioObjectPropertySelector selector);

// The channels that the object's streams carry in the scope (output or input),
// summed over all its buffers; 0 when the configuration can't be read.
std::int64_t channels(AudioObjectID object, AudioObjectPropertyScope scope);

}  // namespace orvel::coreaudio
