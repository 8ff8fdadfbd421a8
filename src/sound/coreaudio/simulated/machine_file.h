// Reading and writing the machine file (format: machine_json.h).
#pragma once

#include <string>

#include "machine.h"

namespace orvel::sim {

// A missing or unreadable file is a machine with no devices and no defaults.
Machine loadMachine(const std::string& path);

// Replaces the file whole: a temporary file in the same folder, synced, then
// renamed over it. False when any step fails; the old file is then untouched.
bool saveMachine(const Machine& machine, const std::string& path);

}  // namespace orvel::sim
