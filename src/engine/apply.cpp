#include "engine/apply.h"

#include <cmath>
#include <string_view>

#include "engine/matching.h"
#include "settings/number_text.h"

namespace orvel {
namespace {

// One side being applied: where its entries go and how they name it.
struct Work {
  SoundSystem& system;
  const Side& side;
  std::string label;
  Outcome& outcome;

  void record(bool accepted, std::string_view what) {
    (accepted ? outcome.done : outcome.skipped).push_back(label + std::string(what));
  }
};

// "the output Desk Speakers" for a default, "Desk Speakers" for a further device;
// the UID stands in for a missing name, never for an empty one.
std::string labelOf(std::optional<Direction> direction, const Side& side) {
  const std::string& name = side.name ? *side.name : side.uid;
  if (!direction) return name;
  return "the " + std::string(rawValue(*direction)) + " " + name;
}

struct Presence {
  bool connected = false;
  bool outputCapable = false;  // layout and volumes are set only on an output side
};

// With a direction the device must serve it; a further device may serve either,
// and takes layout and volumes only when it serves output.
Presence presenceOf(SoundSystem& system, std::optional<Direction> direction,
                    const std::string& uid) {
  if (direction) {
    const bool connected = system.exists(uid, *direction);
    return {connected, connected && *direction == Direction::output};
  }
  const bool output = system.exists(uid, Direction::output);
  return {output || system.exists(uid, Direction::input), output};
}

// The rate cut toward zero, as decimal digits; a non-finite one (only a
// hand-edited file holds one) as "infinity", "-infinity" or "NaN", so the entry
// is still made.
std::string wholeHertz(double hz) {
  if (std::isnan(hz)) return "NaN";
  if (std::isinf(hz)) return hz > 0 ? "infinity" : "-infinity";
  return wholeText(hz);
}

void applyDefault(Work& work, Direction direction) {
  if (work.system.defaultUID(direction) == work.side.uid) return;
  work.record(work.system.setDefault(direction, work.side.uid), " as the default");
}

// A missing present rate counts as 0, so it is set.
void applyRate(Work& work, double wanted) {
  const double held = work.system.rate(work.side.uid).value_or(0);
  if (std::fabs(held - wanted) <= rateTolerance) return;
  const bool accepted = work.system.setRate(work.side.uid, wanted);
  work.record(accepted, " at " + wholeHertz(wanted) + " Hz");
}

void applyLayout(Work& work, const std::string& wanted) {
  if (work.system.layout(work.side.uid) == wanted) return;
  work.record(work.system.setLayout(work.side.uid, wanted), "'s channel layout");
}

// The map's own order is the keys' text order ("0", "1", "10".."16", "2".."9").
// Each key reads the volumes afresh, after the one before it was set; a missing
// key counts as -1 and so is always set.
void applyVolumes(Work& work, const VolumeMap& wanted) {
  for (const auto& [key, value] : wanted) {
    const VolumeMap held = work.system.volume(work.side.uid);
    const auto found = held.find(key);
    const double present = found == held.end() ? -1 : found->second;
    if (std::fabs(present - value) <= volumeTolerance) continue;
    work.record(work.system.setVolume(work.side.uid, key, value), "'s volume");
  }
}

// One side; without a direction it is a further device, never made a default.
// A device that isn't connected gets its one entry and nothing else; any other
// refusal is an entry of the skipped list and the later steps still run.
void apply(SoundSystem& system, std::optional<Direction> direction, const std::optional<Side>& side,
           Outcome& outcome) {
  if (!side) return;
  Work work{system, *side, labelOf(direction, *side), outcome};
  const Presence presence = presenceOf(system, direction, side->uid);
  if (!presence.connected) {
    outcome.skipped.push_back(work.label + ": not connected");
    return;
  }
  if (direction) applyDefault(work, *direction);
  if (side->rate) applyRate(work, *side->rate);
  if (!presence.outputCapable) return;
  if (side->layout) applyLayout(work, *side->layout);
  if (side->volume) applyVolumes(work, *side->volume);
}

}  // namespace

// Further devices first, so that a device the switch made a default gets its own
// settings back before the user's defaults return.
Outcome applyAll(SoundSystem& system, const Settings& settings) {
  Outcome outcome;
  if (settings.others) {
    for (const Side& side : *settings.others) apply(system, std::nullopt, side, outcome);
  }
  apply(system, Direction::output, settings.output, outcome);
  apply(system, Direction::input, settings.input, outcome);
  return outcome;
}

}  // namespace orvel
