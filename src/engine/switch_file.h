// The switch's state in the folder: the file "switched", replaced whole. It
// exists while a switch is in effect, or while a restore still owes something.
#pragma once

#include <optional>

#include "engine/item.h"
#include "files/files.h"

namespace orvel {

struct SwitchFile {
  bool present = false;              // "switched" is there
  std::optional<SwitchState> state;  // nothing when it isn't, or doesn't read as a state
};

SwitchFile readSwitchFile(const Files& folder);
// False when it can't be written (nothing about it changed then).
bool writeSwitchFile(const Files& folder, const SwitchState& state,
                     FolderSync sync = FolderSync::now);

}  // namespace orvel
