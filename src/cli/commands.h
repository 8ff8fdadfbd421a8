// The commands. Each says its lines and gives the process's exit status, 0 or
// 1, back to main; only a switch, once switched, ends the process itself (its
// watch does, on the first trigger).
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "engine/restore.h"
#include "sound/sound_system.h"

namespace orvel {

int readCommand(SoundSystem& system);
int devicesCommand(SoundSystem& system);
int saveCommand(const std::vector<std::string>& args, SoundSystem& system);
int restoreCommand(const std::vector<std::string>& args, SoundSystem& system);
// `parent`: the host, as main found it first thing.
int switchCommand(const std::vector<std::string>& args, SoundSystem& system, pid_t parent);

// Says the "restored" line of a restore's outcome.
void sayRestored(const Restored& restored);

// Blocks SIGTERM, SIGINT and SIGHUP in this thread and every thread made later,
// then gives them back their default action, and gives their set: --switch
// takes them with sigwait only once it watches. Blocked first, so no moment is
// left in which one could end the process; the default action, because macOS
// discards a signal whose action is "ignore" even while it is blocked (a host
// that started us under nohup would never be heard).
sigset_t takeTriggers();

// The errors of a switch or a save that couldn't have the folder to itself.
inline constexpr std::string_view folderBusy =
    "another orvel-sound is using the folder, so nothing was changed";
inline constexpr std::string_view notAnswering = "the sound system isn't answering";
inline constexpr std::string_view folderUnlockable =
    "couldn't lock the folder, so nothing was changed";

}  // namespace orvel
