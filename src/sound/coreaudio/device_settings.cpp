// One device's nominal rate, preferred output layout and output volumes.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "sound/base64.h"
#include "sound/coreaudio/core_audio_system.h"
#include "sound/coreaudio/device_lookup.h"
#include "sound/coreaudio/property.h"
#include "sound/coreaudio/settle.h"
#include "sound/volume_key.h"
#include "sound/volume_level.h"

namespace orvel {

using namespace coreaudio;

namespace {

// Channel controls beyond this many are never read.
constexpr std::int64_t maxVolumeChannels = 16;

// A rate that the device reports within this much of the one set is the one set.
constexpr Float64 rateShown = 0.5;
// A control takes a level as the nearest of its steps: within half a step of a
// coarse (16-step) control, the level shows.
constexpr Float32 volumeShown = 1.0f / 32;

AudioObjectPropertyAddress layoutAddress() {
  return address(kAudioDevicePropertyPreferredChannelLayout, kAudioDevicePropertyScopeOutput);
}

AudioObjectPropertyAddress volumeAddress(AudioObjectPropertyElement element) {
  return address(kAudioDevicePropertyVolumeScalar, kAudioDevicePropertyScopeOutput, element);
}

}  // namespace

std::optional<double> CoreAudioSystem::rate(const std::string& uid) {
  const auto id = device(uid);
  if (!id) return std::nullopt;
  return get<Float64>(*id, address(kAudioDevicePropertyNominalSampleRate), 0);
}

bool CoreAudioSystem::setRate(const std::string& uid, double hz) {
  const auto id = device(uid);
  if (!id) return false;
  const AudioObjectPropertyAddress where = address(kAudioDevicePropertyNominalSampleRate);
  if (!set<Float64>(*id, where, hz)) return false;
  budget_.settles([&] {
    const auto now = get<Float64>(*id, where, 0);
    return now && std::fabs(*now - hz) <= rateShown;
  });
  return true;  // taken: a change not shown yet lands later
}

std::optional<std::string> CoreAudioSystem::layout(const std::string& uid) {
  const auto id = device(uid);
  if (!id) return std::nullopt;
  const AudioObjectPropertyAddress where = layoutAddress();
  if (!AudioObjectHasProperty(*id, &where)) return std::nullopt;
  UInt32 size = 0;
  if (AudioObjectGetPropertyDataSize(*id, &where, 0, nullptr, &size) != 0 || size == 0) {
    return std::nullopt;
  }
  std::vector<std::uint8_t> bytes(size);
  if (AudioObjectGetPropertyData(*id, &where, 0, nullptr, &size, bytes.data()) != 0) {
    return std::nullopt;
  }
  bytes.resize(std::min<std::size_t>(size, bytes.size()));
  return base64Encode(bytes);
}

bool CoreAudioSystem::setLayout(const std::string& uid, const std::string& layoutText) {
  const auto id = device(uid);
  if (!id) return false;
  const auto bytes = base64Decode(layoutText);
  if (!bytes || bytes->empty() || bytes->size() > UINT32_MAX) return false;
  const AudioObjectPropertyAddress where = layoutAddress();
  if (!AudioObjectHasProperty(*id, &where)) return false;
  Boolean settable = false;
  if (AudioObjectIsPropertySettable(*id, &where, &settable) != 0 || !settable) return false;
  if (AudioObjectSetPropertyData(*id, &where, 0, nullptr, static_cast<UInt32>(bytes->size()),
                                 bytes->data()) != 0) {
    return false;
  }
  budget_.settles([&] { return layout(uid) == layoutText; });
  return true;  // taken: a change not shown yet lands later
}

namespace {

// The readable controls from the main one up, stopping after the main one when
// it reads and `mainAlone`.
VolumeMap readControls(const std::optional<AudioObjectID>& id, bool mainAlone) {
  if (!id) return {};
  const std::int64_t bound = std::clamp<std::int64_t>(
      channels(*id, kAudioDevicePropertyScopeOutput), 1, maxVolumeChannels);
  VolumeMap volumes;
  for (AudioObjectPropertyElement element = 0; element <= bound; ++element) {
    if (const auto scalar = get<Float32>(*id, volumeAddress(element), 0)) {
      volumes[std::to_string(element)] = *scalar;
    }
    if (mainAlone && element == kAudioObjectPropertyElementMain && !volumes.empty()) break;
  }
  return volumes;
}

}  // namespace

VolumeMap CoreAudioSystem::volume(const std::string& uid) {
  return readControls(device(uid), true);  // the main control wins
}

VolumeMap CoreAudioSystem::controls(const std::string& uid) {
  return readControls(device(uid), false);
}

bool CoreAudioSystem::setVolume(const std::string& uid, const std::string& key, double value) {
  const auto id = device(uid);
  if (!id || key.empty()) return false;
  const auto element = parseVolumeKey(key);
  if (!element) return false;
  // In range before it becomes a Float32, which a huge double can't.
  const auto wanted = static_cast<Float32>(controlLevel(value));
  const AudioObjectPropertyAddress where = volumeAddress(*element);
  if (!set<Float32>(*id, where, wanted)) return false;
  budget_.settles([&] {
    const auto now = get<Float32>(*id, where, 0);
    return now && std::fabs(*now - wanted) <= volumeShown;
  });
  return true;  // taken: a change not shown yet lands later
}

}  // namespace orvel
