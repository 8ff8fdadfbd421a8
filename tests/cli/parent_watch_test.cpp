#include "cli/parent_watch.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

namespace orvel {
namespace {

// A process that lives a little, with a child that watches it: true when the
// child tells through the pipe that it saw its parent go (and never before).
bool childSeesParentsEnd(void (*watch)(pid_t, const std::function<void()>&)) {
  int pipe[2];
  if (::pipe(pipe) != 0) return false;
  const pid_t middle = ::fork();
  if (middle == 0) {
    if (::fork() == 0) {
      const pid_t parent = getppid();
      watch(parent, [&] { ::_exit(::write(pipe[1], "g", 1) == 1 && getppid() != parent ? 0 : 1); });
      ::_exit(1);
    }
    ::usleep(200'000);
    ::_exit(0);
  }
  ::close(pipe[1]);
  pollfd early{.fd = pipe[0], .events = POLLIN, .revents = 0};
  const bool quiet = ::poll(&early, 1, 100) == 0;  // the parent still lives
  ::waitpid(middle, nullptr, 0);
  pollfd told{.fd = pipe[0], .events = POLLIN, .revents = 0};
  char got = 0;
  const bool seen = ::poll(&told, 1, 5000) == 1 && ::read(pipe[0], &got, 1) == 1 && got == 'g';
  ::close(pipe[0]);
  return quiet && seen;
}

TEST(ParentWatchTest, BothWaysSeeTheParentGoAndNothingBefore) {
  EXPECT_TRUE(childSeesParentsEnd(watchParent));
  EXPECT_TRUE(childSeesParentsEnd(pollParent));
}

}  // namespace
}  // namespace orvel
