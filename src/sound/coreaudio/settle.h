// Waiting for a change to show. A Mac takes a property change and applies it
// later: the nominal rate settles last, as the device reconfigures (tens of
// milliseconds to several seconds: a USB converter relocking its clock, a
// Bluetooth headset changing profile), the default device usually at once but
// not by contract. A read right after the change may still give the old value.
#pragma once

#include <chrono>
#include <functional>

#include "sound/settle_budget.h"

namespace orvel::coreaudio {

// The time one command's changes have to show, shared by all of its waits: a
// long list of devices never adds up to more.
class SettleBudget {
 public:
  SettleBudget() { renew(); }
  void renew() { end_ = std::chrono::steady_clock::now() + settleBudget; }

  // Asks shows() at once and then every 10 ms until it holds or the budget is
  // spent; whether it came to hold.
  bool settles(const std::function<bool()>& shows) const;

 private:
  std::chrono::steady_clock::time_point end_;
};

}  // namespace orvel::coreaudio
