// Putting the user's values back, item by item, where the machine still holds
// the switch's doing (holder.h); what can't be put back yet stays owed.
#pragma once

#include <string>
#include <vector>

#include "engine/apply.h"
#include "engine/item.h"
#include "sound/sound_system.h"

namespace orvel {

struct PutBack {
  Outcome outcome;                // what was put back, and what couldn't be
  std::vector<std::string> left;  // chosen since by the user or another program: left alone
  std::vector<Item> owed;         // still to put back: not connected, refused, no answer
};

// Items in the order given. An item owed because a device isn't connected or a
// change is refused leaves the others to go on; a sound system that stops
// answering ends the work there, with everything not yet done owed and the one
// skipped entry "the sound system isn't answering".
PutBack putBack(SoundSystem& system, const std::vector<Item>& items);

}  // namespace orvel
