#include "sound/pulseaudio/conversions.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <pulse/volume.h>

#include "sound/volume_level.h"

namespace orvel::pulse {
namespace {

constexpr std::size_t mostChannelKeys = 16;

double fraction(std::uint32_t volume) {
  return static_cast<float>(static_cast<double>(volume) / PA_VOLUME_NORM);
}

// The server tells one rate per device: the rate it runs at.
DeviceRecord record(const DeviceInfo& device) {
  DeviceRecord record;
  record.uid = device.name;
  record.name = device.description.value_or("");
  record.rate = device.rate;
  if (device.rate > 0) record.rates = {static_cast<double>(device.rate)};
  return record;
}

void addSource(std::vector<DeviceRecord>& records, const DeviceInfo& source) {
  const auto same = std::find_if(records.begin(), records.end(),
                                 [&](const DeviceRecord& r) { return r.uid == source.name; });
  if (same != records.end()) {
    same->inputs = source.channels;
    return;
  }
  records.push_back(record(source));
  records.back().inputs = source.channels;
}

// Whether the whole text reads as a number in C's notation (decimal, octal, hex).
bool readsAsNumber(const std::string& text) {
  char* end = nullptr;
  std::strtoull(text.c_str(), &end, 0);
  return end != text.c_str() && *end == '\0';
}

}  // namespace

VolumeMap volumeMap(const std::vector<std::uint32_t>& channels) {
  if (channels.empty()) return {};
  const bool equal = std::all_of(channels.begin(), channels.end(),
                                 [&](std::uint32_t volume) { return volume == channels.front(); });
  if (equal) return {{"0", fraction(channels.front())}};
  VolumeMap map;
  for (std::size_t k = 0; k < std::min(channels.size(), mostChannelKeys); ++k) {
    map[std::to_string(k + 1)] = fraction(channels[k]);
  }
  return map;
}

std::uint32_t serverVolume(double value) {
  const double single = static_cast<float>(controlLevel(value));
  return static_cast<std::uint32_t>(std::round(single * PA_VOLUME_NORM));
}

VolumeMap controlMap(const std::vector<std::uint32_t>& channels) {
  if (channels.empty()) return {};
  VolumeMap map{{"0", fraction(*std::max_element(channels.begin(), channels.end()))}};
  for (std::size_t k = 0; k < std::min(channels.size(), mostChannelKeys); ++k) {
    map[std::to_string(k + 1)] = fraction(channels[k]);
  }
  return map;
}

bool sameVolumes(const std::vector<std::uint32_t>& a, const std::vector<std::uint32_t>& b) {
  constexpr std::uint32_t step = PA_VOLUME_NORM / 1000;
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](std::uint32_t x, std::uint32_t y) {
           return (x > y ? x - y : y - x) <= step;
         });
}

std::optional<std::vector<std::uint32_t>> withElement(std::vector<std::uint32_t> channels,
                                                      std::uint32_t element, std::uint32_t volume) {
  if (channels.empty()) return std::nullopt;
  if (element == 0) {
    std::fill(channels.begin(), channels.end(), volume);
    return channels;
  }
  if (element > channels.size()) return std::nullopt;
  channels[element - 1] = volume;
  return channels;
}

std::vector<DeviceRecord> deviceRecords(const std::vector<DeviceInfo>& sinks,
                                        const std::vector<DeviceInfo>& sources) {
  std::vector<DeviceRecord> records;
  for (const DeviceInfo& sink : sinks) {
    if (sink.name.empty()) continue;
    records.push_back(record(sink));
    records.back().outputs = sink.channels;
  }
  for (const DeviceInfo& source : sources) {
    if (!source.name.empty() && !source.monitor) addSource(records, source);
  }
  return records;
}

bool isDeviceName(const std::string& uid) {
  return !uid.empty() && uid.front() != '@' && uid.find('\0') == std::string::npos &&
         !readsAsNumber(uid);
}

}  // namespace orvel::pulse
