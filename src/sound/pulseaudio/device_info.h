// DeviceInfo: what the backend reads of one sink or source, in plain types.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct DeviceInfo {
  std::string name;                        // the UID
  std::optional<std::string> description;  // the display name
  std::uint32_t index = 0;                 // the server's number, valid while the device stays
  std::uint32_t channels = 0;
  std::uint32_t rate = 0;                 // Hz
  std::optional<std::string> channelMap;  // text form ("front-left,front-right")
  std::vector<std::uint32_t> volumes;     // one raw server volume per channel
  bool monitor = false;                   // a source that records what a sink plays
};

}  // namespace orvel
