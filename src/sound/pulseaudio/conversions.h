// The backend's pure conversions between what the server tells and what the
// interface gives: channel volumes, device records and the texts that can name
// a device. No call to the server.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "settings/side.h"
#include "sound/device_record.h"
#include "sound/pulseaudio/requests.h"

namespace orvel::pulse {

// Channel volumes as the interface sees them: fractions of the server's normal
// volume, as 32-bit floats widened to double. A sink has no main control of its
// own: when all its channels are equal that one value is the main control "0",
// otherwise each channel is "1".."N", N at most 16; {} for no channel. A volume
// read above 1 (amplified by hand) is told as it is.
VolumeMap volumeMap(const std::vector<std::uint32_t>& channels);

// The server volume of a fraction handed over as a 32-bit float, taken into
// 0..1 first (volume_level.h): never more than the server's normal volume.
std::uint32_t serverVolume(double fraction);

// Every control: "0" the loudest channel (a sink has no main control of its
// own; setting 0 moves every channel), and each channel "1".."N", N at most 16.
VolumeMap controlMap(const std::vector<std::uint32_t>& channels);

// Whether two channel volume lists are the same within a server's rounding
// (a thousandth of the normal volume, the tolerance of matching).
bool sameVolumes(const std::vector<std::uint32_t>& a, const std::vector<std::uint32_t>& b);

// The channels after setting element 0 (every channel) or k (channel k alone)
// to the volume; nothing when there is no such channel.
std::optional<std::vector<std::uint32_t>> withElement(std::vector<std::uint32_t> channels,
                                                      std::uint32_t element, std::uint32_t volume);

// The device list that devices() gives: the sinks, then the sources not already
// listed, each in the server's order. A sink and a source of the same name are
// one device. Monitor sources are left out: nobody picks them as a device. The
// server tells one rate per device, the one it runs at.
std::vector<DeviceRecord> deviceRecords(const std::vector<DeviceInfo>& sinks,
                                        const std::vector<DeviceInfo>& sources);

// Whether a text can name a sink or a source. The server's by-name lookups
// also read a number as an index ("3", "0x1f") and "@DEFAULT_SINK@"-style
// texts as the defaults; as a UID such a text names no device.
bool isDeviceName(const std::string& uid);

}  // namespace orvel::pulse
