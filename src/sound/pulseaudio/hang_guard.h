// HangGuard: while one lives, a thread of its own watches the clock, and past
// the limit takes the process as stuck inside libpulse (sound/stuck.h): a call
// into libpulse that never comes back can't reach any deadline of ours. One
// guard at a time; the watching thread starts with the first guard.
#pragma once

#include <chrono>

namespace orvel::pulse {

class HangGuard {
 public:
  explicit HangGuard(std::chrono::steady_clock::duration limit);
  ~HangGuard();
  HangGuard(const HangGuard&) = delete;
  HangGuard& operator=(const HangGuard&) = delete;
};

}  // namespace orvel::pulse
