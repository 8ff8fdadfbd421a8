// Message lines on stdout: one JSON object per line, each written whole, in the
// order said. Nothing is ever written to stderr.
//
// A host that doesn't read our stdout must never hold us up: say() writes the
// line itself only when stdout takes it at once (a file, an empty pipe, a
// socket with room), and otherwise hands it, and every line after it, to one
// writer thread and returns; endProcess() gives the lines said at most a second
// to go out. Where no thread can be started, say() writes the line itself,
// blocking. Both are safe from any thread.
#pragma once

#include <string_view>

#include <nlohmann/json.hpp>

namespace orvel {

// Queues the message as one line (json_text.h form). A message that can't be
// JSON is dropped silently, and so is a line stdout no longer takes (closed).
void say(const nlohmann::json& message);

// Says {"message": text, "type": "error"}; gives 1, the exit status of a
// command that fails: `return fail("...")`.
[[nodiscard]] int fail(std::string_view text);

// Ends the process with _Exit(status), status 0 or 1, once every line said
// before the call is written, or after one second at the most, whatever the
// writer is doing: no destructor or exit handler runs, and a host that stopped
// reading holds whole lines only. stdio's stdout (plain text, --backend) is
// flushed first.
[[noreturn]] void endProcess(int status);

}  // namespace orvel
