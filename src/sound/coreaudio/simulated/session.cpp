#include "session.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "machine_file.h"
#include "machine_json.h"
#include "settling.h"

namespace orvel::sim {
namespace {

std::mutex callLock;
Machine* installed = nullptr;  // guarded by callLock

// The one environment variable of the tool, read by nothing but this layer.
std::string machinePath() {
  const char* path = std::getenv("ORVEL_SOUND_SIM_MACHINE");
  return path != nullptr ? path : "";
}

// An exclusive lock on the file beside the machine file (never on the machine
// file itself, which a save replaces); nothing where it can't be had.
FileDescriptor lockFile(const std::string& path) {
  if (path.empty()) return FileDescriptor();
  FileDescriptor file(::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
  if (file) {
    while (::flock(file.get(), LOCK_EX) != 0 && errno == EINTR) {
    }
  }
  return file;
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
    const std::string path = machinePath();
    fileLock_ = lockFile(path);
    fromFile_ = loadMachine(path);
    loaded_ = machineText(fromFile_);
    machine_ = &fromFile_;
  }
  // A change that showed is kept at once, so the file tells what a Mac shows.
  if (applyDue(*machine_)) keep();
  if (machine_->slowCalls > 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(machine_->slowCalls));
  }
}

bool MachineInUse::keep() {
  if (machine_ != &fromFile_) return true;
  if (!fromFile_.readable) return false;
  return machineText(fromFile_) == loaded_ || saveMachine(fromFile_, machinePath());
}

}  // namespace orvel::sim
