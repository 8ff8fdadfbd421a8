// Putting the user's settings back from the switch's state in the folder's
// "switched": the items that still hold the switch's doing get the user's
// values back (put_back.h); what can't be put back yet stays owed in
// "switched", and "switched" goes once nothing is owed. The folder's lock is
// held while it works and released before the caller says the outcome.
// Never fails as a whole; runs on whichever thread triggers it, and callers let
// it run at most once per process.
#pragma once

#include <string>
#include <vector>

#include "engine/apply.h"
#include "engine/item.h"
#include "files/files.h"
#include "sound/sound_system.h"

namespace orvel {

struct Restored {
  Outcome outcome;
  std::vector<std::string> left;  // chosen since by the user or another program
  bool complete = true;           // nothing is owed any more
};

// --restore DIR: whatever switch is in effect; "no switch to put back" when
// none is. A restore that can't get the folder's lock still puts the user's
// values back, but changes no file and stays incomplete.
Restored restoreFolder(SoundSystem& system, const Files& folder);

// A switch process's own restore: only while "switched" still holds its id
// (else "another switch is in effect", or "no switch to put back" once someone
// restored). A folder that is gone puts back the state the switch holds,
// without making the folder again.
Restored restoreOwnSwitch(SoundSystem& system, const Files& folder, const SwitchState& mine);

}  // namespace orvel
