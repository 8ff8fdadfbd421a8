#include "engine/apply.h"

#include <cmath>
#include <utility>

#include "engine/entries.h"
#include "engine/items.h"
#include "engine/tolerances.h"

namespace orvel {
namespace {

// One side being applied: where its entries go and how they name it.
struct Work {
  SoundSystem& system;
  const Side& side;
  std::string label;
  Outcome& outcome;

  void record(bool accepted, std::string entry) {
    (accepted ? outcome.done : outcome.skipped).push_back(std::move(entry));
  }
};

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

void applyDefault(Work& work, Direction direction) {
  if (work.system.defaultUID(direction) == work.side.uid) return;
  work.record(work.system.setDefault(direction, work.side.uid), defaultEntry(work.label));
}

// A missing present rate counts as 0, so it is set.
void applyRate(Work& work, double wanted) {
  const double held = work.system.rate(work.side.uid).value_or(0);
  if (std::fabs(held - wanted) <= rateTolerance) return;
  const bool accepted = work.system.setRate(work.side.uid, wanted);
  work.record(accepted, rateEntry(work.label, wanted));
}

void applyLayout(Work& work, const std::string& wanted) {
  if (work.system.layout(work.side.uid) == wanted) return;
  work.record(work.system.setLayout(work.side.uid, wanted), layoutEntry(work.label));
}

// The map's own order is the keys' text order ("0", "1", "10".."16", "2".."9").
// Each key reads its control afresh, after the one before it was set (on some
// systems the main control moves every channel); a key that can't be read
// counts as -1 and so is always set.
void applyVolumes(Work& work, const VolumeMap& wanted) {
  for (const auto& [key, value] : wanted) {
    const double present = controlLevel(work.system, work.side.uid, key).value_or(-1);
    if (std::fabs(present - value) <= volumeTolerance) continue;
    work.record(work.system.setVolume(work.side.uid, key, value), volumeEntry(work.label));
  }
}

// One side; without a direction it is a further device, never made a default.
// A device that isn't connected gets its one entry and nothing else; any other
// refusal is an entry of the skipped list and the later steps still run.
void apply(SoundSystem& system, std::optional<Direction> direction, const std::optional<Side>& side,
           Outcome& outcome) {
  if (!side) return;
  Work work{system, *side, labelOf(direction, side->name, side->uid), outcome};
  const Presence presence = presenceOf(system, direction, side->uid);
  if (!presence.connected) {
    outcome.skipped.push_back(notConnectedEntry(work.label));
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
