#include "cli/parent_watch.h"

#include <time.h>
#include <unistd.h>
#ifdef __linux__
#include <poll.h>
#include <sys/syscall.h>
#endif

#include <cerrno>

#include "files/file_descriptor.h"

namespace orvel {
namespace {

// Blocks until the parent process has ended, through a descriptor of the
// process itself. False where the system offers no such descriptor.
bool awaitParentsEnd(pid_t parent) {
#if defined(__linux__) && defined(SYS_pidfd_open)
  FileDescriptor process(static_cast<int>(::syscall(SYS_pidfd_open, parent, 0)));
  if (!process) return false;
  // Gone already? Otherwise the descriptor is the parent's, not that of a
  // process that took its id after it ended.
  if (getppid() != parent) return true;
  pollfd ended{.fd = process.get(), .events = POLLIN, .revents = 0};
  int ready = 0;
  while ((ready = ::poll(&ended, 1, -1)) < 0 && errno == EINTR) {
  }
  return ready > 0;
#else
  (void)parent;
  return false;
#endif
}

}  // namespace

void pollParent(pid_t parent, const std::function<void()>& gone) {
  timespec next{};
  clock_gettime(CLOCK_MONOTONIC, &next);
  for (;;) {
    next.tv_sec += 1;
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr) == EINTR) {
    }
    if (getppid() != parent) return gone();
  }
}

void watchParent(pid_t parent, const std::function<void()>& gone) {
  if (awaitParentsEnd(parent) && getppid() != parent) return gone();
  pollParent(parent, gone);
}

}  // namespace orvel
