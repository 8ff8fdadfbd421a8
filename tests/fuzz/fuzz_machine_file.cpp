// The machine file: any text reads as some machine, and writing that machine
// gives text that reads back to a machine written the same way.
#include <cstdint>
#include <cstdlib>

#include "sound/coreaudio/simulated/machine_json.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using orvel::sim::machineFromText, orvel::sim::machineText;
  const std::string text =
      machineText(machineFromText({reinterpret_cast<const char*>(data), size}));
  if (machineText(machineFromText(text)) != text) std::abort();
  return 0;
}
