// Putting the user's settings back: applies snapshot.json (left in place for a
// later restore) and removes the switch marker, holding the folder's lock the
// while. Never fails as a whole; a missing snapshot is the one skipped entry
// "no snapshot to put back". The caller tells the outcome. Runs on whichever
// thread triggers it; callers let it run at most once per process.
#pragma once

#include "engine/apply.h"
#include "files/files.h"
#include "sound/sound_system.h"

namespace orvel {

Outcome restore(SoundSystem& system, const Files& files);

}  // namespace orvel
