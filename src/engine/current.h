// Reading the machine's present settings: the default output with its name,
// rate, layout and volumes, and the default input with its name and rate.
#pragma once

#include "settings/settings.h"
#include "sound/sound_system.h"

namespace orvel {

// Only reads. A missing default leaves its side absent; others is always absent.
Settings current(SoundSystem& system);

}  // namespace orvel
