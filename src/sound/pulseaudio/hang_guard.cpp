#include "sound/pulseaudio/hang_guard.h"

#include <condition_variable>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

#include "sound/stuck.h"

namespace orvel::pulse {
namespace {

using Clock = std::chrono::steady_clock;

// The moment past which the process is stuck, while a guard lives. Guards come
// and go around every call into libpulse, so arming and disarming wake the
// watching thread only when they must: it sleeps toward the deadline it last
// saw and looks again when that comes. A guard that is gone by then costs
// nothing; a newer one, always with a later deadline, is slept toward next.
class Watch {
 public:
  void arm(Clock::time_point until) {
    const std::lock_guard lock(mutex_);
    if (!started_) started_ = start();
    until_ = until;
    if (!sleepingUntil_ || until < *sleepingUntil_) changed_.notify_one();
  }
  void disarm() {
    const std::lock_guard lock(mutex_);
    until_.reset();
  }

 private:
  // False where no thread can be had: then nothing is watched.
  bool start() {
    try {
      std::thread([this] { run(); }).detach();
      return true;
    } catch (const std::system_error&) {
      return false;
    }
  }
  [[noreturn]] void run() {
    std::unique_lock lock(mutex_);
    for (;;) {
      sleepingUntil_ = until_;
      if (!until_) {
        changed_.wait(lock);
      } else {
        changed_.wait_until(lock, *until_);
      }
      if (until_ && Clock::now() >= *until_) {
        lock.unlock();
        soundSystemStuck();
      }
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<Clock::time_point> until_;          // guarded by mutex_, as the rest
  std::optional<Clock::time_point> sleepingUntil_;  // what the thread waits for
  bool started_ = false;
};

// Lives until the process ends (always by _Exit): its thread never outlives it.
Watch& watch() {
  static Watch* const process = new Watch;
  return *process;
}

}  // namespace

HangGuard::HangGuard(std::chrono::steady_clock::duration limit) {
  watch().arm(Clock::now() + limit);
}

HangGuard::~HangGuard() {
  watch().disarm();
}

}  // namespace orvel::pulse
