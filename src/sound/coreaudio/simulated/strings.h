// The simulated CFStrings, as the rest of the simulated layer sees them.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>

namespace orvel::sim {

// A new CFString holding UTF-8 text that is known to be valid; the caller owns it.
CFStringRef makeString(const std::string& utf8);

// The text of a live CFString; null for a reference that isn't one.
const std::string* liveText(CFStringRef string);

}  // namespace orvel::sim
