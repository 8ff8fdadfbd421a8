// From the tool's device UIDs and directions to CoreAudio's object ids and
// default-device selectors.
#pragma once

#include <CoreAudio/CoreAudio.h>

#include <optional>
#include <string>

#include "settings/direction.h"

namespace orvel::coreaudio {

// The object id of the present device with the UID; nothing for an unknown UID
// (CoreAudio answers those with object 0) or a failed translation.
std::optional<AudioObjectID> device(const std::string& uid);

// The system property that holds the default device of the direction.
AudioObjectPropertySelector defaultSelector(Direction direction);

}  // namespace orvel::coreaudio
