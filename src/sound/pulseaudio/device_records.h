// The device list that devices() gives: the sinks, then the sources not already
// listed, each in the server's order. A sink and a source of the same name are
// one device. Monitor sources are left out: nobody picks them as a device.
#pragma once

#include <vector>

#include "sound/device_record.h"
#include "sound/pulseaudio/device_info.h"

namespace orvel {

std::vector<DeviceRecord> deviceRecords(const std::vector<DeviceInfo>& sinks,
                                        const std::vector<DeviceInfo>& sources);

}  // namespace orvel
