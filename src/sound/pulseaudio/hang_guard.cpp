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

// The moment past which the process is stuck, while a guard lives.
class Watch {
 public:
  void arm(Clock::time_point until) {
    const std::lock_guard lock(mutex_);
    if (!started_) started_ = start();
    until_ = until;
    changed_.notify_one();
  }
  void disarm() {
    const std::lock_guard lock(mutex_);
    until_.reset();
    changed_.notify_one();
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
  void run() {
    std::unique_lock lock(mutex_);
    for (;;) {
      if (!until_) {
        changed_.wait(lock);
      } else if (const auto limit = *until_;
                 changed_.wait_until(lock, limit) == std::cv_status::timeout &&
                 until_ == limit) {
        lock.unlock();
        soundSystemStuck();
      }
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<Clock::time_point> until_;  // guarded by mutex_
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
