// Making the machine hold a Settings: defaults, rates, layouts and volumes,
// changing only what differs and never stopping half-way. Every setting touched
// or refused is one human-readable entry in the done or the skipped list.
#pragma once

#include <string>
#include <vector>

#include "settings/settings.h"
#include "sound/sound_system.h"

namespace orvel {

struct Outcome {
  std::vector<std::string> done;
  std::vector<std::string> skipped;
};

// others first, in order, then output, then input.
Outcome applyAll(SoundSystem& system, const Settings& settings);

}  // namespace orvel
