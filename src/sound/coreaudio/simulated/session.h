// The machine that one CoreAudio call runs on: the machine installed with use(),
// or else the machine file read afresh. Holding a MachineInUse holds the one
// lock that serialises all calls.
#pragma once

#include <mutex>

#include "machine.h"

namespace orvel::sim {

class MachineInUse {
 public:
  MachineInUse();
  MachineInUse(const MachineInUse&) = delete;
  MachineInUse& operator=(const MachineInUse&) = delete;

  Machine& operator*() { return *machine_; }
  Machine* operator->() { return machine_; }

  // Makes a change last: writes a file-backed machine back whole. False when
  // that fails; an installed machine is kept as it is.
  bool keep();

 private:
  std::unique_lock<std::mutex> lock_;
  Machine fromFile_;
  Machine* machine_ = nullptr;
};

}  // namespace orvel::sim
