// The check of Orvel's settings line for --save, apart from the command so that
// it neither writes nor exits: the line must read as settings naming an output
// or an input, each a connected device of its direction with a rate from 8000
// to 768000 Hz, a readable layout and volumes from 0 to 1.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "settings/settings.h"
#include "sound/sound_system.h"

namespace orvel {

struct SaveCheck {
  std::optional<Settings> settings;  // the settings to store, once every check has passed
  std::string problem;               // else the first failed check's error message
};

// line: the first line of stdin, nothing when stdin ended before one.
SaveCheck checkSaveLine(SoundSystem& system, std::optional<std::string_view> line);

}  // namespace orvel
