// Whatever readSettings takes must write, read back equal and write the same
// text again; encoded() gives that text's object and never throws.
#include <cstdint>
#include <cstdlib>

#include "settings/settings_json.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto settings = orvel::readSettings({reinterpret_cast<const char*>(data), size});
  if (!settings) return 0;
  const auto text = orvel::writeSettings(*settings);
  if (!text) std::abort();
  const auto again = orvel::readSettings(*text);
  if (!again || *again != *settings || orvel::writeSettings(*again) != text) std::abort();
  if (orvel::encoded(*settings) != nlohmann::json::parse(*text)) std::abort();
  return 0;
}
