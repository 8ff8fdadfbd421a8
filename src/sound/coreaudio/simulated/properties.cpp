#include "properties.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace orvel::sim {
namespace {

bool isGlobalMain(const AudioObjectPropertyAddress& address) {
  return address.mScope == kAudioObjectPropertyScopeGlobal &&
         address.mElement == kAudioObjectPropertyElementMain;
}

std::optional<Property> systemProperty(const AudioObjectPropertyAddress& address) {
  if (!isGlobalMain(address)) return std::nullopt;
  switch (address.mSelector) {
    case kAudioHardwarePropertyDevices:
      return Property{nullptr, address, "devices", true, false};
    case kAudioHardwarePropertyDefaultOutputDevice:
      return Property{nullptr, address, "defaultOutput", true, true};
    case kAudioHardwarePropertyDefaultInputDevice:
      return Property{nullptr, address, "defaultInput", true, true};
    case kAudioHardwarePropertyTranslateUIDToDevice:
      return Property{nullptr, address, "translate", true, false};
    case kAudioHardwarePropertyRunLoop:
      return Property{nullptr, address, "runLoop", true, true};
    default:
      return std::nullopt;
  }
}

std::optional<Property> globalDeviceProperty(Device& device,
                                             const AudioObjectPropertyAddress& address) {
  switch (address.mSelector) {
    case kAudioDevicePropertyDeviceUID:
      return Property{&device, address, "uid", device.uid.has_value(), false};
    case kAudioObjectPropertyName:
      return Property{&device, address, "name", device.name.has_value(), false};
    case kAudioDevicePropertyNominalSampleRate:
      return Property{&device, address, "rate", device.rate.has_value(), true};
    case kAudioDevicePropertyAvailableNominalSampleRates:
      return Property{&device, address, "rateRanges", device.rateRanges.has_value(), false};
    default:
      return std::nullopt;
  }
}

std::optional<Property> deviceProperty(Device& device, const AudioObjectPropertyAddress& address) {
  const bool output = address.mScope == kAudioDevicePropertyScopeOutput;
  const bool input = address.mScope == kAudioDevicePropertyScopeInput;
  const bool main = address.mElement == kAudioObjectPropertyElementMain;
  switch (address.mSelector) {
    case kAudioDevicePropertyStreamConfiguration:
      if (output && main) return Property{&device, address, "output", device.output.has_value()};
      if (input && main) return Property{&device, address, "input", device.input.has_value()};
      return std::nullopt;
    case kAudioDevicePropertyPreferredChannelLayout:
      if (!output || !main) return std::nullopt;
      return Property{&device, address, "layout", device.layout.has_value(), true};
    case kAudioDevicePropertyVolumeScalar:
      if (!output) return std::nullopt;
      return Property{&device, address, "volume." + std::to_string(address.mElement),
                      device.volume.contains(address.mElement), true};
    default:
      if (!isGlobalMain(address)) return std::nullopt;
      return globalDeviceProperty(device, address);
  }
}

template <typename T>
void append(std::vector<std::uint8_t>& bytes, const T& value) {
  const auto* first = reinterpret_cast<const std::uint8_t*>(&value);
  bytes.insert(bytes.end(), first, first + sizeof value);
}

template <typename T>
Value fixed(const T& value) {
  Value result;
  append(result.bytes, value);
  return result;
}

Value variable(std::vector<std::uint8_t> bytes) {
  return Value{std::move(bytes), {}, false};
}

// An AudioBufferList with one buffer per count and no data, as devices report
// their streams.
std::vector<std::uint8_t> bufferList(const std::vector<UInt32>& channels) {
  const std::size_t buffersAt = offsetof(AudioBufferList, mBuffers);
  std::vector<std::uint8_t> bytes(buffersAt + channels.size() * sizeof(AudioBuffer));
  const auto count = static_cast<UInt32>(channels.size());
  std::memcpy(bytes.data(), &count, sizeof count);
  for (std::size_t i = 0; i < channels.size(); ++i) {
    const AudioBuffer buffer{channels[i], 0, nullptr};
    std::memcpy(bytes.data() + buffersAt + i * sizeof buffer, &buffer, sizeof buffer);
  }
  return bytes;
}

Value systemValue(const Machine& machine, AudioObjectPropertySelector selector,
                  const std::string* uidQuery) {
  switch (selector) {
    case kAudioHardwarePropertyDevices: {
      std::vector<std::uint8_t> ids;
      for (const Device& device : machine.devices) append(ids, device.id);
      return variable(std::move(ids));
    }
    case kAudioHardwarePropertyDefaultOutputDevice:
      return fixed(machine.defaultOutput);
    case kAudioHardwarePropertyDefaultInputDevice:
      return fixed(machine.defaultInput);
    case kAudioHardwarePropertyRunLoop:  // the main run loop is some non-null reference
      return fixed(std::uintptr_t{machine.notificationThread ? 0u : 1u});
    default: {  // an unknown UID gives no object, and no error, as on macOS
      const Device* device = nullptr;
      for (const Device& candidate : machine.devices) {
        if (uidQuery != nullptr && candidate.uid == *uidQuery) {
          device = &candidate;
          break;
        }
      }
      return fixed(device != nullptr ? device->id : AudioObjectID{kAudioObjectUnknown});
    }
  }
}

Value deviceValue(const Device& device, const AudioObjectPropertyAddress& address) {
  switch (address.mSelector) {
    case kAudioDevicePropertyDeviceUID:
      return Value{std::vector<std::uint8_t>(sizeof(CFStringRef)), device.uid};
    case kAudioObjectPropertyName:
      return Value{std::vector<std::uint8_t>(sizeof(CFStringRef)), device.name};
    case kAudioDevicePropertyNominalSampleRate:
      return fixed(*device.rate);
    case kAudioDevicePropertyAvailableNominalSampleRates: {
      std::vector<std::uint8_t> ranges;
      for (const AudioValueRange& range : *device.rateRanges) append(ranges, range);
      return variable(std::move(ranges));
    }
    case kAudioDevicePropertyStreamConfiguration:
      return variable(bufferList(
          address.mScope == kAudioDevicePropertyScopeOutput ? *device.output : *device.input));
    case kAudioDevicePropertyPreferredChannelLayout:
      return variable(*device.layout);
    default:
      return fixed(device.volume.at(address.mElement));
  }
}

template <typename T>
std::optional<T> valueIn(const void* data, UInt32 size) {
  if (size != sizeof(T)) return std::nullopt;
  T value;
  std::memcpy(&value, data, sizeof value);
  return value;
}

bool offers(const Device& device, Float64 rate) {
  if (!std::isfinite(rate) || rate <= 0) return false;
  if (!device.rateRanges) return true;  // nothing known to check against
  return std::any_of(device.rateRanges->begin(), device.rateRanges->end(),
                     [rate](const AudioValueRange& range) {
                       return rate >= range.mMinimum && rate <= range.mMaximum;
                     });
}

// A layout record holds its header and at least as many descriptions as it
// counts; drivers report and take sizeof(AudioChannelLayout) even with none.
bool wholeLayout(const void* data, UInt32 size) {
  const std::size_t header = offsetof(AudioChannelLayout, mChannelDescriptions);
  if (size < header) return false;
  AudioChannelLayout layout;
  std::memcpy(&layout, data, header);
  return size >=
         header + std::size_t{layout.mNumberChannelDescriptions} * sizeof(AudioChannelDescription);
}

// The level a control with steps takes for a wanted value: the nearest step.
Float32 onStep(const Device& device, Float32 wanted) {
  if (device.volumeSteps == 0) return wanted;
  const auto steps = static_cast<Float32>(device.volumeSteps);
  return std::round(std::clamp(wanted, 0.0f, 1.0f) * steps) / steps;
}

OSStatus writeRunLoop(Machine& machine, const void* data, UInt32 size) {
  const auto loop = valueIn<CFRunLoopRef>(data, size);
  if (!loop) return kAudioHardwareBadPropertySizeError;
  machine.notificationThread = *loop == nullptr;
  return kAudioHardwareNoError;
}

OSStatus writeDefault(Machine& machine, AudioObjectID& target, const void* data, UInt32 size) {
  const auto id = valueIn<AudioObjectID>(data, size);
  if (!id) return kAudioHardwareBadPropertySizeError;
  if (machine.find(*id) == nullptr) return kAudioHardwareBadObjectError;
  target = *id;
  return kAudioHardwareNoError;
}

OSStatus writeDevice(Device& device, AudioObjectPropertyElement element,
                     AudioObjectPropertySelector selector, const void* data, UInt32 size) {
  switch (selector) {
    case kAudioDevicePropertyNominalSampleRate: {
      const auto rate = valueIn<Float64>(data, size);
      if (!rate) return kAudioHardwareBadPropertySizeError;
      if (!offers(device, *rate)) return kAudioDeviceUnsupportedFormatError;
      device.rate = *rate;
      return kAudioHardwareNoError;
    }
    case kAudioDevicePropertyPreferredChannelLayout: {
      if (!wholeLayout(data, size)) return kAudioHardwareBadPropertySizeError;
      const auto* first = static_cast<const std::uint8_t*>(data);
      device.layout.emplace(first, first + size);
      return kAudioHardwareNoError;
    }
    default: {
      const auto volume = valueIn<Float32>(data, size);
      if (!volume) return kAudioHardwareBadPropertySizeError;
      device.volume[element] = onStep(device, *volume);
      return kAudioHardwareNoError;
    }
  }
}

}  // namespace

UInt32 Value::size() const {
  return static_cast<UInt32>(bytes.size());
}

bool objectExists(const Machine& machine, AudioObjectID object) {
  return object == kAudioObjectSystemObject ||
         std::any_of(machine.devices.begin(), machine.devices.end(),
                     [object](const Device& device) { return device.id == object; });
}

std::optional<Property> findProperty(Machine& machine, AudioObjectID object,
                                     const AudioObjectPropertyAddress& address) {
  if (object == kAudioObjectSystemObject) return systemProperty(address);
  Device* device = machine.find(object);
  if (device == nullptr) return std::nullopt;
  return deviceProperty(*device, address);
}

std::optional<Fault> faultOf(const Machine& machine, const Property& property) {
  const Faults& faults = property.device != nullptr ? property.device->faults : machine.faults;
  auto found = faults.find(property.name);
  if (found == faults.end() && property.name.starts_with("volume.")) found = faults.find("volume");
  if (found == faults.end()) return std::nullopt;
  return found->second;
}

Value valueOf(const Machine& machine, const Property& property, const std::string* uidQuery) {
  if (property.device == nullptr) {
    return systemValue(machine, property.address.mSelector, uidQuery);
  }
  return deviceValue(*property.device, property.address);
}

OSStatus write(Machine& machine, const Property& property, const void* data, UInt32 size) {
  if (property.device != nullptr) {
    return writeDevice(*property.device, property.address.mElement, property.address.mSelector,
                       data, size);
  }
  if (property.address.mSelector == kAudioHardwarePropertyRunLoop) {
    return writeRunLoop(machine, data, size);
  }
  return writeDefault(machine,
                      property.address.mSelector == kAudioHardwarePropertyDefaultOutputDevice
                          ? machine.defaultOutput
                          : machine.defaultInput,
                      data, size);
}

void assign(Machine& machine, AudioObjectID object, const AudioObjectPropertyAddress& address,
            const std::vector<std::uint8_t>& bytes) {
  const auto read = [&bytes](auto& field) {
    if (bytes.size() == sizeof field) std::memcpy(&field, bytes.data(), sizeof field);
  };
  if (object == kAudioObjectSystemObject) {
    if (address.mSelector == kAudioHardwarePropertyDefaultOutputDevice) read(machine.defaultOutput);
    if (address.mSelector == kAudioHardwarePropertyDefaultInputDevice) read(machine.defaultInput);
    return;
  }
  Device* device = machine.find(object);
  if (device == nullptr) return;
  switch (address.mSelector) {
    case kAudioDevicePropertyNominalSampleRate:
      if (device->rate) read(*device->rate);
      return;
    case kAudioDevicePropertyPreferredChannelLayout:
      device->layout = bytes;
      return;
    case kAudioDevicePropertyVolumeScalar:
      if (device->volume.contains(address.mElement)) read(device->volume[address.mElement]);
      return;
    default:
      return;
  }
}

}  // namespace orvel::sim
