// Whose doing an item's present value is: the rules by which a restore puts
// back only what still holds the switch's doing, and by which a new switch
// keeps an earlier switch's user values. Pure: no sound system.
#pragma once

#include <optional>

#include "engine/item.h"

namespace orvel {

enum class Holder {
  unknown,      // the present value can't be read: the item stays owed
  user,         // it is the user's value: nothing to do
  theSwitch,    // the value asked for or read back: put the user's value back
  someoneElse,  // chosen by the user or another program since: leave it
};

// Values match within the tolerances of matching: 0.5 Hz for a rate, 0.001 for
// each volume key (a key not read back: within the snap of a coarse control). A volume map is the
// switch's doing when each key it holds is at a value the switch asked for or read back, at the
// user's value (a control the switch didn't move), or, for a channel, at the main control asked for
// (which moves every channel on some systems, where the main control reads as
// the loudest channel). A key that none of them names
// was never the switch's business.
Holder holderOf(const Item& item, const std::optional<ItemValue>& present);

// Whether the switch's change may still land although the machine shows the
// user's value: it asked for another value and never read it back (a Mac takes
// a change and may apply it seconds later, after a switch stopped waiting).
bool mayStillLand(const Item& item);

}  // namespace orvel
