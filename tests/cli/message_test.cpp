// Message lines never wait for the host: say() returns while a pipe nobody
// reads is full, and endProcess() still ends the process.
#include "cli/message.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

namespace orvel {
namespace {

// Both ends of a pipe, closed with it.
struct Pipe {
  Pipe() { EXPECT_EQ(::pipe(ends), 0); }
  ~Pipe() {
    for (const int end : ends) ::close(end);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  int ends[2] = {-1, -1};
};

// In the child: stdout is the pipe `host` nobody reads; says a line far larger
// than it, tells `done`, and ends with status 1.
[[noreturn]] void sayIntoUnreadPipe(const Pipe& host, const Pipe& done) {
#ifdef F_SETPIPE_SZ
  ::fcntl(host.ends[1], F_SETPIPE_SZ, 4096);
#endif
  ::dup2(host.ends[1], STDOUT_FILENO);
  say({{"type", "long"}, {"text", std::string(64 * 1024, 'x')}});
  const ssize_t told = ::write(done.ends[1], "!", 1);
  endProcess(told == 1 ? 1 : 0);
}

// The child's exit status, or -1 when it hasn't ended within 10 s (then it is killed).
int statusWithin10s(pid_t child) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  int status = 0;
  while (::waitpid(child, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      ::kill(child, SIGKILL);
      ::waitpid(child, &status, 0);
      return -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Message, SayNeverWaitsForTheHost) {
  const Pipe host;  // its read end stays open and unread to the end
  const Pipe done;
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) sayIntoUnreadPipe(host, done);
  pollfd told{done.ends[0], POLLIN, 0};
  EXPECT_EQ(::poll(&told, 1, 10'000), 1) << "say waited for the pipe";
  EXPECT_EQ(statusWithin10s(child), 1) << "endProcess waited for the writer";
}

}  // namespace
}  // namespace orvel
