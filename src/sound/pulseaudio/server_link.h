// The link to the sound server: the deadline of one operation, the process's
// one connection (opened on first use and again after the server went away)
// and one operation's use of it. Serialised use only; any thread may make the
// calls.
//
// Every wait for the server is bounded: it may be gone or hung. A server that
// refuses the connection or has died fails a new connection within
// milliseconds, so each later call simply tries again and finds a restarted
// server. A server that doesn't answer in time costs a whole deadline, so
// after a time-out the link rests: calls fail at once for a while instead of
// each waiting again, and a call after the rest tries afresh.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>

#include "sound/pulseaudio/handles.h"
#include "sound/pulseaudio/hang_guard.h"

namespace orvel::pulse {

// The moment by which one operation on the server must be over.
class Deadline {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Deadline(Clock::duration budget) : at_(Clock::now() + budget) {}

  bool passed() const { return Clock::now() >= at_; }

  // Microseconds left, never negative.
  int remainingMicros() const {
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(at_ - Clock::now());
    return static_cast<int>(std::max<std::chrono::microseconds::rep>(left.count(), 0));
  }

 private:
  Clock::time_point at_;
};

class Connection;  // a main loop with a context on it (server_link.cpp)

// The process's one connection to the server. Making a link doesn't touch the server.
class ServerLink {
 public:
  ServerLink();
  ~ServerLink();
  ServerLink(const ServerLink&) = delete;
  ServerLink& operator=(const ServerLink&) = delete;

  // The open connection, or a new one; nullptr when none can be had by the deadline.
  Connection* connection(const Deadline& deadline);
  // After each call: drops a connection that timed out or ended, and rests after a time-out.
  void settle();
  // How many connections were opened so far.
  std::uint64_t connections() const { return connections_; }

 private:
  bool resting() const;

  std::unique_ptr<Connection> connection_;
  std::uint64_t connections_ = 0;
  Deadline::Clock::time_point restUntil_;
};

// One interface operation's use of the server: a deadline of about two seconds
// for all of it, connecting included, and the link's connection. Ending the
// call settles the link.
class ServerCall {
 public:
  explicit ServerCall(ServerLink& link);
  ~ServerCall() { link_.settle(); }  // the guard outlives the settling: it may disconnect
  ServerCall(const ServerCall&) = delete;
  ServerCall& operator=(const ServerCall&) = delete;

  // False when there is no connection: the call then fails as a whole.
  explicit operator bool() const { return connection_ != nullptr; }

  // The rest only when connected.
  Context& context();
  // Waits until none of the requests (requests.h) runs any more; true when all
  // of them were answered.
  template <typename... Requests>
  bool waitForAnswers(const Requests&... requests) {
    return wait({&requests.operation...});
  }
  // Runs the loop until finished() holds: false when the connection ends or the
  // deadline passes first. Waiting for an event that doesn't come is no
  // time-out of the server.
  bool waitFor(const std::function<bool()>& finished);

  // The connection ended during the call: the server went away or restarted.
  // A server that doesn't answer in time is no such end.
  bool ended() const;
  // Connects again within the call's deadline; false when no connection can be had.
  bool reconnect();

  // Which of the link's connections this call uses: 1 for the first, and one
  // more for each new one (a server that restarted forgets what it told).
  std::uint64_t connectionNumber() const;

 private:
  bool wait(std::initializer_list<const Operation*> operations);

  HangGuard guard_;  // first: made before the connection is touched, gone after it
  ServerLink& link_;
  Deadline deadline_;
  Connection* connection_;
};

// One interface operation on the server: `ask` takes the call and gives the
// answer, `failed` stands for none. When the connection turns out to have ended
// (the server went away or restarted since the last call, or while it was
// asked), the call connects again once, within the same deadline, and asks
// again: a restarted server is found within the one call. An answer over a
// connection that lives is final, a device that isn't there included.
template <typename Answer, typename Ask>
Answer askServer(ServerLink& link, Answer failed, Ask ask) {
  ServerCall call(link);
  if (!call) return failed;
  Answer answer = ask(call);
  if (call.ended() && call.reconnect()) answer = ask(call);
  return answer;
}

}  // namespace orvel::pulse
