// Message lines on stdout: one JSON object per line, written whole by one
// write(2), unbuffered, so a line is out before the call returns. Nothing is
// ever written to stderr.
//
// say() takes no lock: callers make sure two messages are never said at once.
#pragma once

#include <string_view>

#include <nlohmann/json.hpp>

namespace orvel {

// Writes the message as one line (json_text.h form). A message that can't be
// JSON is dropped silently, and so is a failed write (stdout closed).
void say(const nlohmann::json& message);

// Says {"message": text, "type": "error"}; gives 1, the exit status of a
// command that fails: `return fail("...")`.
[[nodiscard]] int fail(std::string_view text);

}  // namespace orvel
