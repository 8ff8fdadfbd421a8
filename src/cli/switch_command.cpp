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
#include <thread>

#include "cli/commands.h"
#include "cli/line_reader.h"
#include "cli/message/message.h"
#include "cli/parent_watch.h"
#include "cli/restore_line.h"
#include "cli/restore_once.h"
#include "engine/apply.h"
#include "engine/current.h"
#include "engine/matching.h"
#include "engine/snapshot.h"
#include "files/files.h"

namespace orvel {
namespace {

constexpr int triggers[] = {SIGTERM, SIGINT, SIGHUP};

// Blocks the three triggers, so that they wait for sigwait, and this thread and
// every thread made later keep them blocked. Then gives each its default action
// back: macOS discards a signal whose action is "ignore" even while it is
// blocked, so a switch started under nohup would never hear SIGHUP. Blocked
// first, a trigger can't end the process in between.
sigset_t takeTriggers() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int trigger : triggers) sigaddset(&signals, trigger);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  for (const int trigger : triggers) std::signal(trigger, SIG_DFL);
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

// Steps that may still fail with nothing changed: the snapshot, then the marker.
std::string keepUsersSettings(SoundSystem& system, const Files& folder, const Settings& orvel) {
  const Settings now = current(system);
  std::string state = "kept";
  if (!matches(now.output, orvel.output) || !matches(now.input, orvel.input)) {
    const Settings users = snapshot(system, now, orvel);
    // Nothing could be read (the sound system is gone or unreadable): an empty
    // snapshot would keep nothing and replace the one an unrestored switch left.
    if (users == Settings{} || !folder.save(users, folder.snapshot())) {
      fail("couldn't keep your settings, so nothing was changed");
    }
    state = "taken";
  }
  if (!folder.write(utcNow(), folder.mark())) {
    fail("couldn't mark the switch, so nothing was changed");
  }
  return state;
}

void waitForSignal(sigset_t signals, RestoreOnce* once) {
  int taken = 0;
  while (sigwait(&signals, &taken) != 0) {
  }
  once->run();
}

// A thread that can't be started leaves its trigger out; the others still work.
template <typename Function, typename... Args>
void startThread(Function function, Args... arguments) {
  try {
    std::thread(function, arguments...).detach();
  } catch (const std::system_error&) {
  }
}

// The line reader keeps at most this much of a line: enough to see "restore"
// with generous blanks around it, never an unbounded line.
constexpr std::size_t restoreLineKeep = 4096;

[[noreturn]] void watch(SoundSystem& system, const Files& folder, const sigset_t& signals) {
  // Lives until the process ends (always by _Exit, so its destructor never runs
  // under a thread that still uses it).
  static RestoreOnce once(system, folder);
  startThread(waitForSignal, signals, &once);
  const pid_t parent = getppid();
  startThread([parent] { watchParent(parent, [] { once.run(); }); });
  LineReader reader(STDIN_FILENO, restoreLineKeep);
  while (const auto line = reader.next()) {
    if (!line->cut && isRestoreLine(line->text)) break;
  }
  once.run();
}

}  // namespace

void switchCommand(const std::vector<std::string>& args, SoundSystem& system) {
  // Before anything else, so that a trigger waits for the watch.
  const sigset_t signals = takeTriggers();

  const Files folder = files("--switch", args);
  const auto orvel = Files::load(folder.orvel());
  if (!orvel) fail("Orvel's sound isn't set up yet");
  const std::string state = keepUsersSettings(system, folder, *orvel);
  const Outcome outcome = applyAll(system, *orvel);
  say({{"type", "switched"},
       {"snapshot", state},
       {"applied", outcome.done},
       {"skipped", outcome.skipped}});
  watch(system, folder, signals);
}

}  // namespace orvel
