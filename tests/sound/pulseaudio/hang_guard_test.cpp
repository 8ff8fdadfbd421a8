// The watch over calls into libpulse: guards that come and go within their
// limit never count as stuck, however long they keep coming; one that outlives
// its limit ends the process through the stuck handler.
#include "sound/pulseaudio/hang_guard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "sound/stuck.h"

namespace orvel::pulse {
namespace {

using namespace std::chrono_literals;

std::atomic<int> phase{0};  // the exit status the stuck handler gives

[[noreturn]] void guardsComeAndGoThenOneStays() {
  onStuck([] { std::_Exit(phase.load()); });
  phase = 1;                      // stuck here is wrong: every guard goes long before its limit
  for (int i = 0; i < 40; ++i) {  // twice the limit in all
    const HangGuard guard(200ms);
    std::this_thread::sleep_for(10ms);
  }
  phase = 2;
  const HangGuard stays(200ms);
  std::this_thread::sleep_for(10s);
  std::_Exit(3);  // never seen stuck
}

TEST(HangGuard, OnlyAGuardPastItsLimitIsStuck) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(guardsComeAndGoThenOneStays(), testing::ExitedWithCode(2), "");
}

}  // namespace
}  // namespace orvel::pulse
