// Channel volumes as the interface sees them: fractions of the server's normal
// volume, as 32-bit floats widened to double; a volume read above 1 (amplified
// by hand) is told as it is, but none is ever set above 1. A sink has no main control of its own:
// when all its channels are equal that one value is the main control "0", otherwise each channel is
// "1".."N".
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "settings/side.h"

namespace orvel {

// {"0": v} when all channels are equal, else "1".."N" with N at most 16; {} for no channel.
VolumeMap volumeMap(const std::vector<std::uint32_t>& channels);

// The server volume of a fraction handed over as a 32-bit float, taken into
// 0..1 first (volume_level.h): never more than the server's normal volume.
std::uint32_t serverVolume(double fraction);

// The channels after setting element 0 (every channel) or k (channel k alone)
// to the volume; nothing when there is no such channel.
std::optional<std::vector<std::uint32_t>> withElement(std::vector<std::uint32_t> channels,
                                                      std::uint32_t element, std::uint32_t volume);

}  // namespace orvel
