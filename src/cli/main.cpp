// orvel-sound: the entry point. Sets the driver's globals, then runs the one
// command the arguments name; every command ends the process itself.
#include <algorithm>
#include <csignal>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/commands.h"
#include "sound/active_backend.h"

namespace orvel {

// Set once at start-up, before any thread exists, and only read afterwards.
std::unique_ptr<SoundSystem> system;
std::string backend;
std::vector<std::string> args;

}  // namespace orvel

int main(int argc, char** argv) {
  // A switch's triggers must never end it, even in its first milliseconds:
  // they wait, blocked, for the watch. Hosts that signal even sooner start the
  // tool with them blocked.
  if (std::find(argv, argv + argc, std::string_view("--switch")) != argv + argc) {
    orvel::blockTriggers();
  }
  // A host that goes away closes our stdout; a write must fail, not kill us.
  std::signal(SIGPIPE, SIG_IGN);

  orvel::system = orvel::makeSystem();
  orvel::backend = std::string(orvel::backendName());
  orvel::args.assign(argv, argv + argc);
  orvel::dispatch(orvel::args, *orvel::system, orvel::backend);
}
