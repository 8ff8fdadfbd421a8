#include <algorithm>
#include <cstdio>
#include <string>

#include "cli/commands.h"
#include "cli/message/message.h"

namespace orvel {
namespace {

// A flag counts when some argument equals it exactly, wherever it stands.
bool present(const std::vector<std::string>& args, std::string_view flag) {
  return std::find(args.begin(), args.end(), flag) != args.end();
}

}  // namespace

void dispatch(const std::vector<std::string>& args, SoundSystem& system, std::string_view backend) {
  if (present(args, "--backend")) {
    std::fputs((std::string(backend) + "\n").c_str(), stdout);
    finish(0);
  }
  if (present(args, "--read")) readCommand(system);
  if (present(args, "--devices")) devicesCommand(system);
  if (present(args, "--save")) saveCommand(args, system);
  if (present(args, "--restore")) restoreCommand(args, system);
  if (present(args, "--switch")) switchCommand(args, system);
  fail("say what to do: --read, --devices, --save DIR, --switch DIR, --restore DIR");
}

}  // namespace orvel
