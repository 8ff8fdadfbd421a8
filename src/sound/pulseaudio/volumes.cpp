#include "sound/pulseaudio/volumes.h"

#include <algorithm>
#include <cmath>
#include <string>

#include <pulse/volume.h>

#include "sound/volume_level.h"

namespace orvel {
namespace {

constexpr std::size_t mostChannelKeys = 16;

double fraction(std::uint32_t volume) {
  return static_cast<float>(static_cast<double>(volume) / PA_VOLUME_NORM);
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

}  // namespace orvel
