#include "engine/switch_file.h"

#include "engine/state_json.h"

namespace orvel {

SwitchFile readSwitchFile(const Files& folder) {
  if (!folder.switched()) return {};
  const auto content = Files::read(folder.mark());
  return {true, content ? readState(*content) : std::nullopt};
}

bool writeSwitchFile(const Files& folder, const SwitchState& state, FolderSync sync) {
  const auto text = stateText(state);
  return text && folder.write(*text, folder.mark(), sync);
}

}  // namespace orvel
