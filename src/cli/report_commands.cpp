// --read and --devices: report the machine's audio without changing anything.
#include "cli/commands.h"
#include "cli/message.h"
#include "engine/current.h"
#include "settings/settings_json.h"

namespace orvel {

// A sound system that doesn't answer is said as such, never as a machine
// without devices.
int readCommand(SoundSystem& system) {
  const Settings settings = current(system);
  if (!system.answering()) return fail(notAnswering);
  say({{"type", "settings"}, {"settings", encoded(settings)}});
  return 0;
}

int devicesCommand(SoundSystem& system) {
  const std::vector<DeviceRecord> devices = system.devices();
  if (devices.empty() && !system.answering()) return fail(notAnswering);
  for (const DeviceRecord& device : devices) {
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
