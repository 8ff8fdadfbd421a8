#include "sound/coreaudio/settle.h"

#include <thread>

namespace orvel::coreaudio {

bool SettleBudget::settles(const std::function<bool()>& shows) const {
  for (;;) {
    if (shows()) return true;
    if (std::chrono::steady_clock::now() >= end_) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

}  // namespace orvel::coreaudio
