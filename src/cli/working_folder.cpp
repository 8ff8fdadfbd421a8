#include "cli/working_folder.h"

#include <algorithm>
#include <iterator>

namespace orvel {

std::optional<Files> workingFolder(std::string_view flag, const std::vector<std::string>& args) {
  const auto it = std::find(args.begin(), args.end(), flag);
  if (it == args.end() || std::next(it) == args.end()) return std::nullopt;
  return Files::at(*std::next(it));
}

std::string folderMissing(std::string_view flag) {
  return std::string(flag) + " needs a folder";
}

}  // namespace orvel
