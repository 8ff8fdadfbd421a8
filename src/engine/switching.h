// The switch's state, before and after it changes the machine: the items of
// Orvel's settings with the user's values (switch_state.h holds the rules of
// the items), and what applying left on the machine.
#pragma once

#include <optional>
#include <string>

#include "engine/item.h"
#include "settings/settings.h"
#include "sound/sound_system.h"

namespace orvel {

struct SwitchPlan {
  SwitchState state;
  bool kept = false;  // every user value came from the switch in effect before
};

// The state of a new switch, owned by `id`. With no switch in effect the user's
// values are what the machine holds now. With one in effect (`earlier`), an
// item whose present value is still that switch's doing, or can't be read,
// keeps its user value; any other item takes the present value, the user's
// newer choice. Items of the earlier switch that the target leaves out stay
// while they still hold its doing, so nothing it owes is forgotten.
SwitchPlan planSwitch(SoundSystem& system, const Settings& target,
                      const std::optional<SwitchState>& earlier, std::string id, std::string time);

// Reads each item's value back once Orvel's settings are applied: a control
// that snapped to its steps, or a change the system took its own way, is still
// recognised as the switch's doing.
void readBack(SoundSystem& system, SwitchState& state);

// A new switch's id: 32 random hexadecimal digits.
std::string newSwitchId();

}  // namespace orvel
