#include "cli/parent_watch.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#if defined(__linux__)
#include <poll.h>
#include <sys/syscall.h>
#elif defined(__APPLE__)
#include <sys/event.h>
#endif

#include "files/file_descriptor.h"

namespace orvel {
namespace {

#if defined(__linux__) && defined(SYS_pidfd_open)

// A descriptor of the parent process that becomes readable when it ends.
bool awaitParentsEnd(pid_t parent) {
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
}

#elif defined(__APPLE__)

// A kernel queue told of the parent's exit.
bool awaitParentsEnd(pid_t parent) {
  FileDescriptor queue(::kqueue());
  if (!queue) return false;
  struct kevent exit {};
  EV_SET(&exit, parent, EVFILT_PROC, EV_ADD | EV_ONESHOT, NOTE_EXIT, 0, nullptr);
  if (::kevent(queue.get(), &exit, 1, nullptr, 0, nullptr) < 0) return errno == ESRCH;  // gone
  // As above: the watched process is the parent only while it still is one.
  if (getppid() != parent) return true;
  struct kevent seen {};
  int ready = 0;
  while ((ready = ::kevent(queue.get(), nullptr, 0, &seen, 1, nullptr)) < 0 && errno == EINTR) {
  }
  return ready > 0;
}

#else

bool awaitParentsEnd(pid_t) {
  return false;
}

#endif

}  // namespace

void pollParent(pid_t parent, const std::function<void()>& gone) {
  auto next = std::chrono::steady_clock::now();
  for (;;) {
    next += std::chrono::seconds(1);
    std::this_thread::sleep_until(next);
    if (getppid() != parent) return gone();
  }
}

void watchParent(pid_t parent, const std::function<void()>& gone) {
  // The host may have ended before the watch began (during a long switch): we
  // were handed to another parent already.
  if (getppid() != parent) return gone();
  if (awaitParentsEnd(parent) && getppid() != parent) return gone();
  pollParent(parent, gone);
}

}  // namespace orvel
