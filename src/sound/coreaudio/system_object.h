// systemObject: the CoreAudio object that holds the machine-wide properties
// (the device list, the default devices, the UID translation). Fixed before
// anything runs and never changed.
#pragma once

#include <CoreAudio/CoreAudio.h>

namespace orvel::coreaudio {

inline constexpr AudioObjectID systemObject = kAudioObjectSystemObject;

}  // namespace orvel::coreaudio
