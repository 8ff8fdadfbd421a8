// How long the changes of one command may take to show on a Mac, all of them
// together: a USB converter relocking its clock takes 3 to 5 s, a Bluetooth
// headset changing profile over 2 s. A switch counts a change the system took
// as made even when it shows later; a restore owes it until it shows.
#pragma once

#include <chrono>

namespace orvel {

inline constexpr std::chrono::seconds settleBudget{5};

}  // namespace orvel
