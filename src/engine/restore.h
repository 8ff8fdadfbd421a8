// Putting the user's settings back: applies snapshot.json (left in place),
// removes the switch marker, then says the one "restored" line. Never fails as a
// whole and never ends the process; a missing snapshot is reported in the line.
// Runs on whichever thread triggers it; callers let it run at most once.
#pragma once

#include "files/files.h"
#include "sound/sound_system.h"

namespace orvel {

void restore(SoundSystem& system, const Files& files);

}  // namespace orvel
