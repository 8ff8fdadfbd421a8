// Waiting for a change to show. A Mac takes a property change and applies it
// later: the nominal rate settles last, as the device reconfigures (tens to
// hundreds of milliseconds), and the default device usually at once but not by
// contract. A read right after the change may still give the old value.
#pragma once

#include <chrono>
#include <functional>

namespace orvel::coreaudio {

// How long a change of rate or of default may take to show.
inline constexpr auto settleTime = std::chrono::seconds(1);

// Asks shows() at once and then every 10 ms until it holds or `bound` has
// passed; whether it came to hold.
bool settles(const std::function<bool()>& shows,
             std::chrono::steady_clock::duration bound = settleTime);

}  // namespace orvel::coreaudio
