#include "sound/coreaudio/property.h"

#include <cstddef>
#include <cstring>
#include <span>
#include <vector>

#include "sound/coreaudio/cf_string.h"

namespace orvel::coreaudio {
namespace {

// The channel counts of an AudioBufferList's buffers, added up. Buffers that
// the count names beyond the bytes at hand are not read.
std::int64_t channelSum(std::span<const std::uint8_t> list) {
  UInt32 buffers = 0;
  if (list.size() < sizeof buffers) return 0;
  std::memcpy(&buffers, list.data(), sizeof buffers);
  std::int64_t sum = 0;
  for (std::size_t i = 0; i < buffers; ++i) {
    const std::size_t at = offsetof(AudioBufferList, mBuffers) + i * sizeof(AudioBuffer);
    if (at + sizeof(AudioBuffer) > list.size()) break;
    AudioBuffer buffer;
    std::memcpy(&buffer, list.data() + at, sizeof buffer);
    sum += buffer.mNumberChannels;
  }
  return sum;
}

}  // namespace

AudioObjectPropertyAddress address(AudioObjectPropertySelector selector,
                                   AudioObjectPropertyScope scope,
                                   AudioObjectPropertyElement element) {
  return AudioObjectPropertyAddress{selector, scope, element};
}

std::optional<std::string> string(AudioObjectID object, AudioObjectPropertySelector selector) {
  const AudioObjectPropertyAddress where = address(selector);
  CFStringOwner value;
  UInt32 size = sizeof(CFStringRef);
  if (AudioObjectGetPropertyData(object, &where, 0, nullptr, &size, value.receive()) != 0 ||
      !value) {
    return std::nullopt;
  }
  return utf8Text(value.get());
}

std::int64_t channels(AudioObjectID object, AudioObjectPropertyScope scope) {
  const AudioObjectPropertyAddress where = address(kAudioDevicePropertyStreamConfiguration, scope);
  UInt32 size = 0;
  if (AudioObjectGetPropertyDataSize(object, &where, 0, nullptr, &size) != 0 || size == 0) {
    return 0;
  }
  std::vector<std::uint8_t> list(size);
  if (AudioObjectGetPropertyData(object, &where, 0, nullptr, &size, list.data()) != 0) return 0;
  return channelSum(list);
}

}  // namespace orvel::coreaudio
