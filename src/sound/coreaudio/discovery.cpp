// Device discovery: the device list and a record of each device.
#include <algorithm>
#include <utility>

#include "sound/coreaudio/core_audio_system.h"
#include "sound/coreaudio/property.h"
#include "sound/coreaudio/system_object.h"

namespace orvel {

using namespace coreaudio;

std::vector<DeviceRecord> CoreAudioSystem::devices() {
  const AudioObjectPropertyAddress where = address(kAudioHardwarePropertyDevices);
  UInt32 size = 0;
  if (AudioObjectGetPropertyDataSize(systemObject, &where, 0, nullptr, &size) != 0) return {};
  std::vector<AudioObjectID> ids(size / sizeof(AudioObjectID));
  if (ids.empty()) return {};
  size = static_cast<UInt32>(ids.size() * sizeof(AudioObjectID));
  if (AudioObjectGetPropertyData(systemObject, &where, 0, nullptr, &size, ids.data()) != 0) {
    return {};
  }
  // The list may have shrunk since its size was asked: only what was given counts.
  ids.resize(std::min<std::size_t>(ids.size(), size / sizeof(AudioObjectID)));
  std::vector<DeviceRecord> records;
  for (const AudioObjectID id : ids) {
    auto uid = string(id, kAudioDevicePropertyDeviceUID);
    if (uid) records.push_back(record(id, std::move(*uid)));
  }
  return records;
}

bool CoreAudioSystem::answering() {
  const AudioObjectPropertyAddress where = address(kAudioHardwarePropertyDevices);
  UInt32 size = 0;
  return AudioObjectGetPropertyDataSize(systemObject, &where, 0, nullptr, &size) == 0;
}

DeviceRecord CoreAudioSystem::record(AudioObjectID device, std::string uid) {
  DeviceRecord result;
  result.uid = std::move(uid);
  result.name = string(device, kAudioObjectPropertyName).value_or("");
  result.outputs = channels(device, kAudioDevicePropertyScopeOutput);
  result.inputs = channels(device, kAudioDevicePropertyScopeInput);
  result.rate = get<Float64>(device, address(kAudioDevicePropertyNominalSampleRate), 0).value_or(0);
  result.rates = rates(device);
  return result;
}

std::vector<double> CoreAudioSystem::rates(AudioObjectID device) {
  const AudioObjectPropertyAddress where = address(kAudioDevicePropertyAvailableNominalSampleRates);
  UInt32 size = 0;
  if (AudioObjectGetPropertyDataSize(device, &where, 0, nullptr, &size) != 0) return {};
  std::vector<AudioValueRange> ranges(size / sizeof(AudioValueRange));
  if (ranges.empty()) return {};
  size = static_cast<UInt32>(ranges.size() * sizeof(AudioValueRange));
  if (AudioObjectGetPropertyData(device, &where, 0, nullptr, &size, ranges.data()) != 0) return {};
  ranges.resize(std::min<std::size_t>(ranges.size(), size / sizeof(AudioValueRange)));
  std::vector<double> offered;
  for (const AudioValueRange& range : ranges) {
    offered.push_back(range.mMinimum);
    if (range.mMaximum != range.mMinimum) offered.push_back(range.mMaximum);
  }
  return offered;
}

}  // namespace orvel
