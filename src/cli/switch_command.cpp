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

// Steps that may still fail with nothing changed: the snapshot, then the marker.
std::string keepUsersSettings(SoundSystem& system, const Files& folder, const Settings& orvel) {
  const Settings now = current(system);
  std::string state = "kept";
  if (!usersSettingsKept(folder, now, orvel)) {
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

void switchCommand(const std::vector<std::string>& args, SoundSystem& system) {
  // Before anything else, so that a trigger waits for the watch.
  const sigset_t signals = takeTriggers();

  const Files folder = files("--switch", args);
  {
    // One switch of a folder at a time, until its switch is made; a second one
    // then finds Orvel's settings on and the user's kept. The watch holds no
    // lock, so waiting never means waiting for Orvel to end.
    const FolderLock lock(folder);
    if (lock.busy()) fail(folderBusy);
    const auto orvel = Files::load(folder.orvel());
    if (!orvel) fail("Orvel's sound isn't set up yet");
    const std::string state = keepUsersSettings(system, folder, *orvel);
    const Outcome outcome = applyAll(system, *orvel);
    say({{"type", "switched"},
         {"snapshot", state},
         {"applied", outcome.done},
         {"skipped", outcome.skipped}});
  }
  watch(system, folder, signals);
}

}  // namespace orvel
