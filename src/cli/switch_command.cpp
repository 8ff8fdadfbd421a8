// --switch DIR: moves the machine onto Orvel's settings with the switch's state
// (the user's values) safe on disk first, then watches for the first of four
// triggers (the line "restore", the end of stdin, SIGTERM/SIGINT/SIGHUP, the
// parent's death) and puts the user's settings back exactly once.
#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <optional>
#include <thread>
#include <variant>

#include "cli/commands.h"
#include "cli/line_reader.h"
#include "cli/message.h"
#include "cli/parent_watch.h"
#include "cli/restore_line.h"
#include "cli/restore_once.h"
#include "cli/working_folder.h"
#include "engine/apply.h"
#include "engine/items.h"
#include "engine/switch_file.h"
#include "engine/switching.h"
#include "files/files.h"
#include "files/folder_lock.h"
#include "sound/stuck.h"

namespace orvel {
namespace {

// Internet date-time in UTC with whole seconds: 2026-11-23T09:41:07Z.
std::string utcNow() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

// Whether a trigger came while the switch still waits for the folder: one of
// the signals is pending, or the host is gone.
bool triggered(pid_t parent) {
  sigset_t pending;
  sigemptyset(&pending);
  sigpending(&pending);
  for (const int trigger : {SIGTERM, SIGINT, SIGHUP}) {
    if (sigismember(&pending, trigger) == 1) return true;
  }
  return getppid() != parent;
}

struct Switched {
  SwitchState state;
  Outcome outcome;  // what applying Orvel's settings did and skipped
  bool kept = false;
};

// The exit status of a switch that failed before it changed anything.
using Failed = int;

// The switch under the folder's lock, up to applying: nothing is changed on the
// machine before the switch's state is on disk. One switch of a folder at a
// time, so two never both take the machine's state for the user's.
std::variant<Switched, Failed> makeSwitch(SoundSystem& system, const Files& folder, pid_t parent) {
  const FolderLock lock(folder, FolderLock::patience(), [parent] { return triggered(parent); });
  switch (lock.state()) {
    case LockState::busy:
      return fail(folderBusy);
    case LockState::refused:
      return fail(folderUnlockable);
    case LockState::stopped:
      return fail("stopped before anything was changed");
    case LockState::held:
    case LockState::unlocked:
      break;
  }
  const auto orvel = Files::load(folder.orvel());
  if (!orvel) return fail("Orvel's sound isn't set up yet");
  if (!system.answering()) return fail(notAnswering);
  const SwitchFile earlier = readSwitchFile(folder);
  // A switch in effect whose state doesn't read: its user values are unknown,
  // and taking the machine's for them would lose them. --restore ends it.
  if (earlier.present && !earlier.state) {
    return fail("couldn't keep your settings, so nothing was changed");
  }
  SwitchPlan plan = planSwitch(system, *orvel, earlier.state, newSwitchId(), utcNow());
  // Reading was cut short: what was read is no whole picture of the user's settings.
  if (!system.answering()) return fail(notAnswering);
  // The copy's name reaches the disk with "switched", written next in the folder.
  if (!folder.save(usersSettings(plan.state.items), folder.snapshot(),
                   FolderSync::withNextChange)) {
    return fail("couldn't keep your settings, so nothing was changed");
  }
  if (!writeSwitchFile(folder, plan.state)) {
    return fail("couldn't mark the switch, so nothing was changed");
  }
  Outcome outcome = applyAll(system, *orvel);
  readBack(system, plan.state);
  // Without it, the values asked for still tell; so a power cut may leave
  // either state, and the folder needn't be flushed for this one.
  writeSwitchFile(folder, plan.state, FolderSync::withNextChange);
  return Switched{std::move(plan.state), std::move(outcome), plan.kept};
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
[[noreturn]] void watch(SoundSystem& system, const Files& folder, SwitchState mine,
                        const sigset_t& signals, pid_t parent) {
  // Lives until the process ends (always by _Exit, so its destructor never runs
  // under a thread that still uses it).
  static RestoreOnce once(system, folder, std::move(mine));
  // A restore stuck in the sound system's own library ends the process all the
  // same: nothing of what it still owes was taken from "switched".
  onStuck([] {
    sayRestored(Restored{.outcome = {{}, {std::string(notAnswering)}}, .complete = false});
    endProcess(0);
  });
  // A switch whose triggers can't all be heard must not stay switched: a host
  // that then gives up on SIGTERM and kills would leave Orvel's settings on.
  if (!startThread(waitForSignal, signals, &once)) once.run();
  if (!startThread([parent] { watchParent(parent, [] { once.run(); }); })) once.run();
  LineReader reader(STDIN_FILENO, restoreLineKeep);
  while (const auto line = reader.next()) {
    if (!line->cut && isRestoreLine(line->text)) break;
  }
  once.run();
}

}  // namespace

sigset_t takeTriggers() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int trigger : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&signals, trigger);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  for (const int trigger : {SIGTERM, SIGINT, SIGHUP}) std::signal(trigger, SIG_DFL);
  return signals;
}

int switchCommand(const std::vector<std::string>& args, SoundSystem& system, pid_t parent) {
  const sigset_t signals = takeTriggers();  // main took them already; this keeps the command whole
  const auto folder = workingFolder("--switch", args);
  if (!folder) return fail(folderMissing("--switch"));
  auto made = makeSwitch(system, *folder, parent);
  if (const auto* failed = std::get_if<Failed>(&made)) return *failed;
  // The folder's lock is released before any line is said: a host that
  // doesn't read us holds nobody up.
  auto& switched = std::get<Switched>(made);
  say({{"type", "switched"},
       {"snapshot", switched.kept ? "kept" : "taken"},
       {"applied", switched.outcome.done},
       {"skipped", switched.outcome.skipped}});
  watch(system, *folder, std::move(switched.state), signals, parent);
}

}  // namespace orvel
