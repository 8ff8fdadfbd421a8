// Deadline: the moment by which one operation on the sound server must be over.
// The server may be gone or hung; every wait for it is bounded by one of these.
#pragma once

#include <algorithm>
#include <chrono>

namespace orvel {

class Deadline {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Deadline(Clock::duration budget) : at_(Clock::now() + budget) {}

  bool passed() const { return Clock::now() >= at_; }

  // Microseconds left, never negative.
  int remainingMicros() const {
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(at_ - Clock::now());
    return static_cast<int>(std::max<std::chrono::microseconds::rep>(left.count(), 0));
  }

 private:
  Clock::time_point at_;
};

}  // namespace orvel
