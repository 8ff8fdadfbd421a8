// Whether a line of stdin during --switch asks for the restore: the word
// "restore" exactly, with any blanks around it (space, tab, and the other
// Unicode space separators), and nothing else.
#pragma once

#include <string_view>

namespace orvel {

bool isRestoreLine(std::string_view line);

}  // namespace orvel
