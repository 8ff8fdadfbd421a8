#include "cli/message.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

#include "settings/json_text.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

// How long endProcess waits for the lines said to be written.
constexpr auto endWait = 1s;

#ifdef __linux__
// Linux tells a pipe's capacity and how much waits unread in it: a line that
// fits the pipe waits here until there is room for all of it, so that a host
// that stops reading is left with whole lines, never the start of one. A line
// larger than the whole pipe can only go in parts. The room is counted in
// bytes where the kernel hands out pages, so it is an estimate. Anything that
// isn't a pipe (a file, a terminal) takes its line at once.
void waitForRoom(std::size_t size) {
  for (;;) {
    const int capacity = ::fcntl(STDOUT_FILENO, F_GETPIPE_SZ);
    int waiting = 0;
    if (capacity < 0 || size > static_cast<std::size_t>(capacity) ||
        ::ioctl(STDOUT_FILENO, FIONREAD, &waiting) != 0 ||
        size <= static_cast<std::size_t>(capacity - waiting)) {
      return;
    }
    // POLLOUT means some room, not room enough: look again a little later. No
    // reader at all: the write fails at once and drops the line.
    pollfd out{STDOUT_FILENO, POLLOUT, 0};
    if (::poll(&out, 1, 100) > 0 && (out.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) return;
    std::this_thread::sleep_for(10ms);
  }
}
#else
void waitForRoom(std::size_t) {}  // a plain blocking write
#endif

// Writes the whole line, blocking; the loop only goes on after a partial write
// or an interrupted call. A closed stdout (EPIPE: SIGPIPE is ignored) drops the
// rest quietly.
void writeLine(const std::string& line) {
  waitForRoom(line.size());
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

bool isNullDevice(const struct stat& out) {
  struct stat null {};
  return S_ISCHR(out.st_mode) && ::stat("/dev/null", &null) == 0 && null.st_rdev == out.st_rdev;
}

// Whether stdout takes this many bytes whole without a moment's wait: an empty
// pipe has every page of its capacity free (Linux tells both).
bool emptyPipeTakes(std::size_t size) {
#ifdef __linux__
  const int capacity = ::fcntl(STDOUT_FILENO, F_GETPIPE_SZ);
  int waiting = -1;
  return capacity > 0 && size <= static_cast<std::size_t>(capacity) &&
         ::ioctl(STDOUT_FILENO, FIONREAD, &waiting) == 0 && waiting == 0;
#else
  (void)size;
  return false;
#endif
}

// Writes as much of the line as stdout takes with no chance of waiting, here in
// the caller's thread, and gives what is left for the writer thread (all of it
// where stdout might keep us waiting: a terminal, a pipe holding unread lines).
// A host that reads its lines as they come never needs the thread. A write
// that fails for good drops the line, as the writer would.
std::string_view writeWithoutWaiting(std::string_view line) {
  struct stat out {};
  if (::fstat(STDOUT_FILENO, &out) != 0) return line;
  const bool socket = S_ISSOCK(out.st_mode);
  if (!socket && !S_ISREG(out.st_mode) && !isNullDevice(out) &&
      !(S_ISFIFO(out.st_mode) && emptyPipeTakes(line.size()))) {
    return line;
  }
  while (!line.empty()) {
    const ssize_t written = socket ? ::send(STDOUT_FILENO, line.data(), line.size(), MSG_DONTWAIT)
                                   : ::write(STDOUT_FILENO, line.data(), line.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return line;
    if (written <= 0) return {};
    line.remove_prefix(static_cast<std::size_t>(written));
  }
  return line;
}

// Every signal blocked in this thread while it lives, and so in the threads it
// starts meanwhile: the writer takes no signal meant for a switch's sigwait.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

// The lines said and not yet written, and the one thread that writes them in
// order, started only when a line can't go out at once. The thread is never
// joined: it may be blocked in write(2) on a pipe nobody reads when the process
// ends, and _Exit ends it there.
class Writer {
 public:
  // Writes the line here when it goes out at once, and until the first one that
  // doesn't; from then on queues them all for the thread, in order. Blocks here
  // only when no writer thread can be started.
  void add(std::string line) {
    std::unique_lock lock(mutex_);
    if (!started_) {
      const std::string_view left = writeWithoutWaiting(line);
      if (left.empty()) return;
      line.erase(0, line.size() - left.size());
      started_ = true;
      direct_ = !start();
    }
    if (direct_) {
      lock.unlock();
      const std::lock_guard one(directWrite_);
      writeLine(line);
      return;
    }
    lines_.push_back(std::move(line));
    ++said_;
    changed_.notify_all();
  }

  // Waits until every line queued so far is written, or until the deadline.
  void waitForLinesSaid(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    const std::uint64_t target = said_;
    changed_.wait_until(lock, deadline, [&] { return written_ >= target; });
  }

 private:
  // False when the thread can't be started.
  bool start() {
    const AllSignalsBlocked blocked;
    try {
      std::thread([this] { run(); }).detach();
      return true;
    } catch (const std::system_error&) {
      return false;
    }
  }

  [[noreturn]] void run() {
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return !lines_.empty(); });
      const std::string line = std::move(lines_.front());
      lines_.pop_front();
      lock.unlock();  // say and endProcess never wait for the pipe
      writeLine(line);
      lock.lock();
      ++written_;
      changed_.notify_all();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::string> lines_;  // guarded by mutex_, as the rest
  std::uint64_t said_ = 0;
  std::uint64_t written_ = 0;
  bool started_ = false;
  bool direct_ = false;     // no thread: each say writes its own line
  std::mutex directWrite_;  // one such line at a time
};

// Made on first use and never destroyed: the writer thread uses it to the end.
Writer& writer() {
  static Writer* const instance = new Writer;
  return *instance;
}

}  // namespace

void say(const nlohmann::json& message) {
  auto text = jsonText(message);
  if (!text) return;
  text->push_back('\n');
  writer().add(std::move(*text));
}

int fail(std::string_view text) {
  say({{"type", "error"}, {"message", std::string(text)}});
  return 1;
}

void endProcess(int status) {
  std::fflush(stdout);
  writer().waitForLinesSaid(std::chrono::steady_clock::now() + endWait);
  std::_Exit(status);
}

}  // namespace orvel
