// The --save check of one line (up to its line feed, as LineReader gives it) on a
// fixed simulated machine. A line that passes gives the settings it reads as,
// which write and read back equal, name connected devices and keep the bounds;
// a refusal names the first problem in its known form. Either way the check
// changes nothing on the machine and leaks no CFString.
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <utility>

#include "cli/save_check.h"
#include "settings/settings_json.h"
#include "sound/base64.h"
#include "sound/coreaudio/core_audio_system.h"
#include "sound/coreaudio/simulated/machine.h"

namespace {

using namespace orvel;
using Channels = std::vector<UInt32>;

sim::Machine& machine() {
  static sim::Machine machine{
      .defaultOutput = 2,
      .defaultInput = 3,
      .devices = {
          {.id = 2,
           .uid = "desk-uid",
           .name = "Desk Speakers",
           .output = Channels{2},
           .input = Channels{},
           .rate = 44100,
           .rateRanges = {{{44100, 44100}, {48000, 96000}}},
           .layout = {{2, 0, 101, 0}},
           .volume = {{0, 0.5f}, {1, 0.25f}}},
          {.id = 3, .uid = "mic-uid", .input = Channels{1}, .rate = 16000},
          {.id = 4,
           .uid = "dock-uid",
           .name = "Dock",
           .output = Channels{1, 1},
           .input = Channels{2},
           .faults = {{"input", sim::Fault::unreadable}}},
          {.id = 5, .uid = "", .output = Channels{2}},
          {.id = 6, .uid = "caf\xc3", .output = Channels{2}},  // not UTF-8: no UID names it
          {.id = 7, .name = "no uid", .output = Channels{2}},
          {.id = 8, .uid = "mute-uid", .output = Channels{0}, .input = Channels{}},
      }};
  return machine;
}

// The UIDs of the machine's devices with channels each way.
const std::set<std::string> outputs = {"desk-uid", "dock-uid", ""};
const std::set<std::string> inputs = {"mic-uid"};

bool rateInBounds(const Side& side) {
  return !side.rate || (*side.rate >= 8000 && *side.rate <= 768000);
}

bool layoutReadable(const Side& side) {
  const auto bytes = side.layout ? base64Decode(*side.layout) : std::nullopt;
  return !side.layout || (bytes && !bytes->empty());
}

bool volumesInBounds(const Side& side) {
  for (const auto& [key, value] : side.volume.value_or(VolumeMap{})) {
    if (!(value >= 0 && value <= 1)) return false;
  }
  return true;
}

bool keepsBounds(const Side& side, const std::set<std::string>& connected) {
  return connected.contains(side.uid) && rateInBounds(side) && layoutReadable(side) &&
         volumesInBounds(side);
}

bool passes(const std::optional<Settings>& read, const Settings& settings) {
  const auto text = writeSettings(settings);
  return read == settings && text && readSettings(*text) == settings &&
         (settings.output || settings.input) &&
         (!settings.output || keepsBounds(*settings.output, outputs)) &&
         (!settings.input || keepsBounds(*settings.input, inputs));
}

// "<rate> Hz isn't a sample rate" where the text reads back as the side's rate.
bool namesRate(const Side& side, const std::string& problem) {
  constexpr std::string_view tail = " Hz isn't a sample rate";
  if (!side.rate || !problem.ends_with(tail)) return false;
  const std::string_view text(problem.data(), problem.size() - tail.size());
  double rate = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), rate);
  return error == std::errc() && end == text.data() + text.size() &&
         text.find_first_of(".e") != std::string_view::npos && rate == *side.rate;
}

// Whether the problem is the side's first one, in the order of the checks:
// connection, rate, layout, volumes.
bool firstProblem(const Side& side, const char* direction, const std::set<std::string>& connected,
                  const std::string& problem) {
  if (!connected.contains(side.uid)) {
    return problem == side.name.value_or(side.uid) + " isn't a connected " + direction;
  }
  if (!rateInBounds(side)) return namesRate(side, problem);
  if (!layoutReadable(side)) return problem == "that channel layout isn't readable";
  return !volumesInBounds(side) && problem == "a volume runs from 0 to 1";
}

bool knownProblem(const std::optional<Settings>& read, const std::string& problem) {
  if (!read) return problem == "Orvel's settings are one JSON line on stdin";
  if (!read->output && !read->input) {
    return problem == "Orvel's settings name an output or an input";
  }
  if (read->output && !keepsBounds(*read->output, outputs)) {
    return firstProblem(*read->output, "output", outputs, problem);
  }
  return read->input && firstProblem(*read->input, "input", inputs, problem);
}

// The sound system over the machine, made once: making one points the machine's
// notifications away from the run loop, a write that changes no setting.
CoreAudioSystem& soundSystem() {
  static CoreAudioSystem system = [] {
    sim::use(machine());
    return CoreAudioSystem();
  }();
  machine().calls.clear();
  return system;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static CoreAudioSystem& system = soundSystem();
  std::optional<std::string_view> line;
  if (size > 0) {
    line = std::string_view(reinterpret_cast<const char*>(data), size);
    line = line->substr(0, line->find('\n'));
    if (line->ends_with('\r')) line->remove_suffix(1);
  }
  const std::size_t stringsBefore = sim::liveStrings();
  const SaveCheck check = checkSaveLine(system, line);
  const auto read = line ? readSettings(*line) : std::nullopt;
  const bool sound = check.settings ? check.problem.empty() && passes(read, *check.settings)
                                    : knownProblem(read, check.problem);
  if (!sound || sim::liveStrings() != stringsBefore ||
      machine().count(sim::Function::setPropertyData) != 0) {
    std::abort();
  }
  machine().calls.clear();
  return 0;
}
