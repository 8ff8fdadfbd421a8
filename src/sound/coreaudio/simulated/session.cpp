#include "session.h"

#include <cstdlib>
#include <string>

#include "machine_file.h"

namespace orvel::sim {
namespace {

std::mutex callLock;
Machine* installed = nullptr;  // guarded by callLock

// The one environment variable of the tool, read by nothing but this layer.
std::string machinePath() {
  const char* path = std::getenv("ORVEL_SOUND_SIM_MACHINE");
  return path != nullptr ? path : "";
}

}  // namespace

void use(Machine& machine) {
  const std::lock_guard lock(callLock);
  installed = &machine;
}

void useFile() {
  const std::lock_guard lock(callLock);
  installed = nullptr;
}

MachineInUse::MachineInUse() : lock_(callLock) {
  if (installed != nullptr) {
    machine_ = installed;
  } else {
    fromFile_ = loadMachine(machinePath());
    machine_ = &fromFile_;
  }
}

bool MachineInUse::keep() {
  if (machine_ != &fromFile_) return true;
  return fromFile_.readable && saveMachine(fromFile_, machinePath());
}

}  // namespace orvel::sim
