// The level a backend sets a volume control to. A control runs from 0 to 1 and
// no volume of the tool's ever goes beyond: 1 is the server's normal volume on
// PulseAudio and PipeWire, never an amplification. A value outside (only a
// hand-edited file holds one) goes to the nearer end, one that is no number to 0.
#pragma once

namespace orvel {

inline double controlLevel(double volume) {
  return volume > 1 ? 1.0 : volume >= 0 ? volume : 0.0;
}

}  // namespace orvel
