#include "cli/restore_line.h"

namespace orvel {
namespace {

// The tab and the space separators of Unicode (category Zs), in UTF-8.
constexpr std::string_view blanks[] = {"\t",     " ",      "\u00A0", "\u1680", "\u2000", "\u2001",
                                       "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007",
                                       "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000"};

bool stripOneBlank(std::string_view& line, bool front) {
  for (const std::string_view blank : blanks) {
    if (front ? line.starts_with(blank) : line.ends_with(blank)) {
      front ? line.remove_prefix(blank.size()) : line.remove_suffix(blank.size());
      return true;
    }
  }
  return false;
}

}  // namespace

bool isRestoreLine(std::string_view line) {
  while (stripOneBlank(line, true)) {
  }
  while (stripOneBlank(line, false)) {
  }
  return line == "restore";
}

}  // namespace orvel
