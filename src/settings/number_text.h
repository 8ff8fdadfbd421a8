// How the tool's messages write a number in words ("96000000.0 Hz isn't a
// sample rate", "the output Desk Speakers at 48000 Hz"), the same on every
// system and in every locale. Written by hand because std::to_chars of a double,
// which does exactly this, is missing from macOS's C++ library before 13.3.
#pragma once

#include <string>

namespace orvel {

// The shortest decimal text that reads back as the same double: fixed notation
// from 0.0001 up to 2^53, with ".0" after an integral value (96000000.0, 7999.5,
// 0.0), exponent form outside that range (1e+16, 9e-05). Non-finite values give
// "inf", "-inf" or "nan".
std::string decimalText(double value);

// A finite value cut toward zero, as all its decimal digits: 44100.9 gives
// "44100", -2.5 gives "-2", 1e300 gives the 301 digits of that double exactly.
std::string wholeText(double value);

}  // namespace orvel
