// The commands, each entered from the dispatch and each ending the process
// itself with status 0 or 1.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sound/sound_system.h"

namespace orvel {

// Runs the first command present, in the fixed order --backend, --read,
// --devices, --save, --restore, --switch; the usage error when none is.
[[noreturn]] void dispatch(const std::vector<std::string>& args, SoundSystem& system,
                           std::string_view backend);

[[noreturn]] void readCommand(SoundSystem& system);
[[noreturn]] void devicesCommand(SoundSystem& system);
[[noreturn]] void saveCommand(const std::vector<std::string>& args, SoundSystem& system);
[[noreturn]] void restoreCommand(const std::vector<std::string>& args, SoundSystem& system);
[[noreturn]] void switchCommand(const std::vector<std::string>& args, SoundSystem& system);

}  // namespace orvel
