// --read and --devices: report the machine's audio without changing anything.
#include "cli/commands.h"
#include "cli/message/message.h"
#include "engine/current.h"
#include "settings/settings_json.h"

namespace orvel {

void readCommand(SoundSystem& system) {
  say({{"type", "settings"}, {"settings", encoded(current(system))}});
  finish(0);
}

void devicesCommand(SoundSystem& system) {
  for (const DeviceRecord& device : system.devices()) {
    say({{"uid", device.uid},
         {"name", device.name},
         {"outputs", device.outputs},
         {"inputs", device.inputs},
         {"rate", device.rate},
         {"rates", device.rates}});
  }
  finish(0);
}

}  // namespace orvel
