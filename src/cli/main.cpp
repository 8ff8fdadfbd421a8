// orvel-sound: the entry point. Sets the process's globals, then runs the one
// command the arguments name and ends with its exit status.
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/commands.h"
#include "cli/message.h"
#include "sound/active_backend.h"
#include "sound/stuck.h"

namespace orvel {

// The sound system, the backend's name and the arguments are the process's own,
// set once and only read afterwards: a switch's signal thread and parent watch
// reach the sound system long after main has handed it over, so it must outlive
// every thread (and is never torn down while one runs: a switch ends by _Exit).
std::unique_ptr<SoundSystem> system;
std::string backend;
std::vector<std::string> args;
pid_t host = 0;  // the parent process as it was at the start: the host

namespace {

// A flag counts when some argument equals it exactly, wherever it stands.
bool present(std::string_view flag) {
  return std::find(args.begin(), args.end(), flag) != args.end();
}

// The sound system, made when the first command that needs it runs: --backend
// and the usage error never touch the audio system.
SoundSystem& sound() {
  if (!system) system = makeSystem();
  return *system;
}

// The first command present, in the fixed order --backend, --read, --devices,
// --save, --restore, --switch; the usage error when none is.
int dispatch() {
  if (present("--backend")) {
    std::fputs((backend + "\n").c_str(), stdout);
    return 0;
  }
  if (present("--read")) return readCommand(sound());
  if (present("--devices")) return devicesCommand(sound());
  if (present("--save")) return saveCommand(args, sound());
  if (present("--restore")) return restoreCommand(args, sound());
  if (present("--switch")) return switchCommand(args, sound(), host);
  return fail("say what to do: --read, --devices, --save DIR, --switch DIR, --restore DIR");
}

}  // namespace
}  // namespace orvel

int main(int argc, char** argv) {
  // Before anything else: a host that dies during a long switch must still be
  // seen as gone, not mistaken for the process we are handed to.
  orvel::host = getppid();
  // A switch's triggers must never end it, even in its first milliseconds:
  // they wait, blocked, for the watch, with their default action back before
  // the sound system is made. Hosts that signal even sooner start the tool
  // with them blocked.
  if (std::find(argv, argv + argc, std::string_view("--switch")) != argv + argc) {
    orvel::takeTriggers();
  }
  // A host that goes away closes our stdout; a write must fail, not kill us.
  std::signal(SIGPIPE, SIG_IGN);

  // A sound system stuck in its own library ends the command as one that
  // doesn't answer; a switch's watch says otherwise once switched.
  orvel::onStuck([] { orvel::endProcess(orvel::fail(orvel::notAnswering)); });
  orvel::backend = std::string(orvel::backendName());
  orvel::args.assign(argv, argv + argc);
  orvel::endProcess(orvel::dispatch());
}
