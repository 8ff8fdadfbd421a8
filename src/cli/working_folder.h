// The working folder that --save, --switch and --restore name on the command
// line: the argument right after the first occurrence of the flag, taken
// literally (even "--switch" or the empty text).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "files/files.h"

namespace orvel {

// The folder, created with its parents; nothing when the flag is missing or
// the last argument.
std::optional<Files> workingFolder(std::string_view flag, const std::vector<std::string>& args);

// The error of a flag without its folder: "--save needs a folder".
std::string folderMissing(std::string_view flag);

}  // namespace orvel
