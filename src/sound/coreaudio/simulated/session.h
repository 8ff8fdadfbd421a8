// The machine that one CoreAudio call runs on: the machine installed with use(),
// or else the machine file read afresh. Holding a MachineInUse holds the one
// lock that serialises the calls of this process and, for the file, a lock on
// it (an flock on "FILE.lock") that serialises the calls of every process, from
// the load to the save of the call. Changes whose time has come show first.
#pragma once

#include <mutex>
#include <string>

#include "files/file_descriptor.h"
#include "machine.h"

namespace orvel::sim {

class MachineInUse {
 public:
  MachineInUse();
  MachineInUse(const MachineInUse&) = delete;
  MachineInUse& operator=(const MachineInUse&) = delete;

  Machine& operator*() { return *machine_; }
  Machine* operator->() { return machine_; }

  // Makes a change last: writes a file-backed machine back whole, unless the
  // change left the file's content as it was. False when writing fails; an
  // installed machine is kept as it is.
  bool keep();

 private:
  std::unique_lock<std::mutex> lock_;
  FileDescriptor fileLock_;  // held from the load to the save
  Machine fromFile_;
  std::string loaded_;  // the file's machine as it was read, in machineText's form
  Machine* machine_ = nullptr;
};

}  // namespace orvel::sim
