#include "sound/coreaudio/settle.h"

#include <thread>

namespace orvel::coreaudio {

bool settles(const std::function<bool()>& shows, std::chrono::steady_clock::duration bound) {
  const auto end = std::chrono::steady_clock::now() + bound;
  for (;;) {
    if (shows()) return true;
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

}  // namespace orvel::coreaudio
