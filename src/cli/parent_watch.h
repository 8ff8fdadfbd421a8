// The watch over the parent process of a switch: Orvel's end hands the tool to
// another parent, and that is one of the triggers of the restore.
#pragma once

#include <sys/types.h>

#include <functional>

namespace orvel {

// Blocks until the parent, given by its id (read first thing in main), is no
// longer the parent of this process, then calls gone, at once when it is no
// longer so already; returns only if gone does. Where the system can
// tell a process's end (a process descriptor on Linux 5.3 and later, a kernel
// queue on macOS) it waits without waking and sees the end at once; elsewhere
// it falls back to pollParent.
void watchParent(pid_t parent, const std::function<void()>& gone);

// The same, comparing the parent id once a second on the dot.
void pollParent(pid_t parent, const std::function<void()>& gone);

}  // namespace orvel
