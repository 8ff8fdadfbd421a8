// DeviceRecord: what --devices tells of one device.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvel {

struct DeviceRecord {
  std::string uid;
  std::string name;           // "" when it can't be read
  std::int64_t outputs = 0;   // output channel count
  std::int64_t inputs = 0;    // input channel count
  double rate = 0;            // current nominal rate, Hz; 0 when it can't be read
  std::vector<double> rates;  // offered nominal rates, in the device's own order

  friend bool operator==(const DeviceRecord&, const DeviceRecord&) = default;
};

}  // namespace orvel
