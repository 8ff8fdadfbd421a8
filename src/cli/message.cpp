#include "cli/message.h"

#include <unistd.h>

#include <cerrno>
#include <string>

#include "settings/json_text.h"

namespace orvel {
namespace {

// One write(2) for the line; the loop only goes on after a partial write or an
// interrupted call. A closed stdout ends it quietly.
void writeLine(const std::string& line) {
  const char* data = line.data();
  std::size_t left = line.size();
  while (left > 0) {
    const ssize_t written = ::write(STDOUT_FILENO, data, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    data += written;
    left -= static_cast<std::size_t>(written);
  }
}

}  // namespace

void say(const nlohmann::json& message) {
  auto text = jsonText(message);
  if (!text) return;
  text->push_back('\n');
  writeLine(*text);
}

int fail(std::string_view text) {
  say({{"type", "error"}, {"message", std::string(text)}});
  return 1;
}

}  // namespace orvel
