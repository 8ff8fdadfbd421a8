// --read and --devices: report the machine's audio without changing anything.
#include "cli/commands.h"
#include "cli/message.h"
#include "engine/current.h"
#include "settings/settings_json.h"

namespace orvel {

int readCommand(SoundSystem& system) {
  say({{"type", "settings"}, {"settings", encoded(current(system))}});
  return 0;
}

int devicesCommand(SoundSystem& system) {
  for (const DeviceRecord& device : system.devices()) {
    say({{"uid", device.uid},
         {"name", device.name},
         {"outputs", device.outputs},
         {"inputs", device.inputs},
         {"rate", device.rate},
         {"rates", device.rates}});
  }
  return 0;
}

}  // namespace orvel
