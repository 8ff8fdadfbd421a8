// The commands, each entered from the dispatch and each ending the process
// itself with status 0 or 1.
#pragma once

#include <signal.h>

#include <string>
#include <string_view>
#include <vector>

#include "sound/sound_system.h"

namespace orvel {

// The error of a switch or a save that waited for the folder in vain.
inline constexpr std::string_view folderBusy =
    "another orvel-sound is using the folder, so nothing was changed";

// Runs the first command present, in the fixed order --backend, --read,
// --devices, --save, --restore, --switch; the usage error when none is.
[[noreturn]] void dispatch(const std::vector<std::string>& args, SoundSystem& system,
                           std::string_view backend);

[[noreturn]] void readCommand(SoundSystem& system);
[[noreturn]] void devicesCommand(SoundSystem& system);
[[noreturn]] void saveCommand(const std::vector<std::string>& args, SoundSystem& system);
[[noreturn]] void restoreCommand(const std::vector<std::string>& args, SoundSystem& system);
[[noreturn]] void switchCommand(const std::vector<std::string>& args, SoundSystem& system);

// Blocks SIGTERM, SIGINT and SIGHUP in this thread and every thread made later,
// and gives their set: --switch takes them with sigwait only once it watches.
sigset_t blockTriggers();

}  // namespace orvel
