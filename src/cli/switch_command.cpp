// --switch DIR: moves the machine onto Orvel's settings with the user's own
// settings safe on disk first, then watches for the first of four triggers
// (the line "restore", the end of stdin, SIGTERM/SIGINT/SIGHUP, the parent's
// death) and puts the user's settings back exactly once.
#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <optional>
#include <thread>

#include "cli/commands.h"
#include "cli/line_reader.h"
#include "cli/message.h"
#include "cli/parent_watch.h"
#include "cli/restore_line.h"
#include "cli/restore_once.h"
#include "cli/working_folder.h"
#include "engine/apply.h"
#include "engine/current.h"
#include "engine/matching.h"
#include "engine/snapshot.h"
#include "files/files.h"
#include "files/folder_lock.h"

namespace orvel {
namespace {

// Gives the triggers their default action back, once blocked: macOS discards
// a signal whose action is "ignore" even while it is blocked, so a switch
// started under nohup would never hear SIGHUP. Blocked first, a trigger can't
// end the process in between.
sigset_t takeTriggers() {
  const sigset_t signals = blockTriggers();
  for (const int trigger : {SIGTERM, SIGINT, SIGHUP}) std::signal(trigger, SIG_DFL);
  return signals;
}

// Internet date-time in UTC with whole seconds: 2026-11-23T09:41:07Z.
std::string utcNow() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

// Whether the user's settings are kept already. While a switch is in effect
// (its marker is there: it runs, or it was killed before its restore) the
// machine holds Orvel's settings as far as it could take them, and its state is
// never the user's, whatever matches says of it: the snapshot stays.
bool usersSettingsKept(const Files& folder, const Settings& now, const Settings& orvel) {
  if (folder.switched() && Files::load(folder.snapshot())) return true;
  return matches(now.output, orvel.output) && matches(now.input, orvel.input);
}

// The user's settings kept on disk: "taken" when a snapshot was stored now,
// "kept" when it needs none; nothing when it can't be stored.
std::optional<std::string> keepUsersSettings(SoundSystem& system, const Files& folder,
                                             const Settings& orvel) {
  const Settings now = current(system);
  if (usersSettingsKept(folder, now, orvel)) return "kept";
  const Settings users = snapshot(system, now, orvel);
  // Nothing could be read (the sound system is gone or unreadable): an empty
  // snapshot would keep nothing and replace the one an unrestored switch left.
  if (users == Settings{} || !folder.save(users, folder.snapshot())) return std::nullopt;
  return "taken";
}

// The switch, up to its "switched" line: nothing is changed on the machine
// before the user's settings are safe and the switch is marked. Gives the exit
// status of a failure, nothing once switched. One switch of a folder at a time
// (the folder's lock, held to the line): a second one then finds Orvel's
// settings on and the user's kept.
std::optional<int> makeSwitch(SoundSystem& system, const Files& folder) {
  const FolderLock lock(folder);
  if (lock.busy()) return fail(folderBusy);
  const auto orvel = Files::load(folder.orvel());
  if (!orvel) return fail("Orvel's sound isn't set up yet");
  const auto state = keepUsersSettings(system, folder, *orvel);
  if (!state) return fail("couldn't keep your settings, so nothing was changed");
  if (!folder.write(utcNow(), folder.mark())) {
    return fail("couldn't mark the switch, so nothing was changed");
  }
  const Outcome outcome = applyAll(system, *orvel);
  say({{"type", "switched"},
       {"snapshot", *state},
       {"applied", outcome.done},
       {"skipped", outcome.skipped}});
  return std::nullopt;
}

void waitForSignal(sigset_t signals, RestoreOnce* once) {
  int taken = 0;
  while (sigwait(&signals, &taken) != 0) {
  }
  once->run();
}

// False when the thread can't be started.
template <typename Function, typename... Args>
bool startThread(Function function, Args... arguments) {
  try {
    std::thread(function, arguments...).detach();
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

// The line reader keeps at most this much of a line: enough to see "restore"
// with generous blanks around it, never an unbounded line.
constexpr std::size_t restoreLineKeep = 4096;

// From here on only RestoreOnce touches the sound system: the main thread reads
// stdin, the signal thread waits in sigwait and the parent watch for the
// parent's end, and each of them reaches the sound system only through
// RestoreOnce::run, whose lock lets one restore run and is never released.
[[noreturn]] void watch(SoundSystem& system, const Files& folder, const sigset_t& signals) {
  // Lives until the process ends (always by _Exit, so its destructor never runs
  // under a thread that still uses it).
  static RestoreOnce once(system, folder);
  // A switch whose triggers can't all be heard must not stay switched: a host
  // that then gives up on SIGTERM and kills would leave Orvel's settings on.
  if (!startThread(waitForSignal, signals, &once)) once.run();
  const pid_t parent = getppid();
  if (!startThread([parent] { watchParent(parent, [] { once.run(); }); })) once.run();
  LineReader reader(STDIN_FILENO, restoreLineKeep);
  while (const auto line = reader.next()) {
    if (!line->cut && isRestoreLine(line->text)) break;
  }
  once.run();
}

}  // namespace

sigset_t blockTriggers() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int trigger : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&signals, trigger);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

int switchCommand(const std::vector<std::string>& args, SoundSystem& system) {
  // Before anything else, so that a trigger waits for the watch.
  const sigset_t signals = takeTriggers();
  const auto folder = workingFolder("--switch", args);
  if (!folder) return fail(folderMissing("--switch"));
  if (const auto failed = makeSwitch(system, *folder)) return *failed;
  watch(system, *folder, signals);  // holds no lock: nobody waits for Orvel to end
}

}  // namespace orvel
