// The commands. Each says its lines and gives the process's exit status, 0 or
// 1, back to main; only a switch, once switched, ends the process itself (its
// watch does, on the first trigger).
#pragma once

#include <signal.h>

#include <string>
#include <string_view>
#include <vector>

#include "engine/apply.h"
#include "sound/sound_system.h"

namespace orvel {

int readCommand(SoundSystem& system);
int devicesCommand(SoundSystem& system);
int saveCommand(const std::vector<std::string>& args, SoundSystem& system);
int restoreCommand(const std::vector<std::string>& args, SoundSystem& system);
int switchCommand(const std::vector<std::string>& args, SoundSystem& system);

// Says the "restored" line of a restore's outcome.
void sayRestored(const Outcome& outcome);

// Blocks SIGTERM, SIGINT and SIGHUP in this thread and every thread made later,
// and gives their set: --switch takes them with sigwait only once it watches.
sigset_t blockTriggers();

// The error of a switch or a save that waited for the folder in vain.
inline constexpr std::string_view folderBusy =
    "another orvel-sound is using the folder, so nothing was changed";

}  // namespace orvel
