// The user's settings to keep before a switch: the current defaults, and the
// present settings of every connected device that the target makes a default
// although it isn't one now (read once, even when named on both sides).
#pragma once

#include "settings/settings.h"
#include "sound/sound_system.h"

namespace orvel {

Settings snapshot(SoundSystem& system, const Settings& current, const Settings& target);

}  // namespace orvel
