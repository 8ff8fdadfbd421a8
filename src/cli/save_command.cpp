// --save DIR: checks Orvel's settings line against the machine and fixed bounds,
// then stores it as orvel.json. An earlier file is replaced only when every
// check has passed.
#include <unistd.h>

#include <charconv>
#include <cmath>

#include "cli/commands.h"
#include "cli/line_reader.h"
#include "cli/message/message.h"
#include "files/files.h"
#include "settings/settings_json.h"
#include "sound/base64.h"

namespace orvel {
namespace {

// The shortest decimal text that reads back as the same double, with ".0"
// after an integral value: 96000000.0, 7999.5; exponent form from 2^53 up
// (1e+16) and below 0.0001 (1e-05).
std::string rateText(double rate) {
  char text[64];
  const double size = std::fabs(rate);
  const bool plain = size == 0 || (size >= 1e-4 && size < 0x1p53);
  const auto format = plain ? std::chars_format::fixed : std::chars_format::general;
  const auto end = std::to_chars(text, text + sizeof text, rate, format).ptr;
  std::string result(text, end);
  if (result.find_first_of(".en") == std::string::npos) result += ".0";
  return result;
}

void checkSide(SoundSystem& system, const std::optional<Side>& side, Direction direction) {
  if (!side) return;
  if (!system.exists(side->uid, direction)) {
    fail(side->name.value_or(side->uid) + " isn't a connected " + std::string(rawValue(direction)));
  }
  if (side->rate && !(*side->rate >= 8000 && *side->rate <= 768000)) {
    fail(rateText(*side->rate) + " Hz isn't a sample rate");
  }
  if (side->layout) {
    const auto bytes = base64Decode(*side->layout);
    if (!bytes || bytes->empty()) fail("that channel layout isn't readable");
  }
  if (side->volume) {
    for (const auto& [key, value] : *side->volume) {
      if (!(value >= 0 && value <= 1)) fail("a volume runs from 0 to 1");
    }
  }
}

}  // namespace

void saveCommand(const std::vector<std::string>& args, SoundSystem& system) {
  const Files folder = files("--save", args);
  const auto line = LineReader(STDIN_FILENO).next();
  const auto settings = line ? readSettings(line->text) : std::nullopt;
  if (!settings) fail("Orvel's settings are one JSON line on stdin");
  if (!settings->output && !settings->input) fail("Orvel's settings name an output or an input");
  checkSide(system, settings->output, Direction::output);
  checkSide(system, settings->input, Direction::input);
  if (!folder.save(*settings, folder.orvel())) fail("couldn't keep Orvel's settings");
  say({{"type", "saved"}});
  finish(0);
}

}  // namespace orvel
