#include "sound/pulseaudio/device_records.h"

#include <algorithm>

namespace orvel {
namespace {

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

}  // namespace

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

}  // namespace orvel
