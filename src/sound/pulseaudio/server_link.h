// ServerLink: the process's one connection to the sound server, opened on first
// use (making a ServerLink doesn't touch the server) and opened again after the
// server went away.
//
// Failing fast: a server that refuses the connection or has died fails a new
// connection within milliseconds, so each later call simply tries again and
// finds a restarted server. A server that doesn't answer in time costs a whole
// deadline, so after a time-out the link rests: calls fail at once for a while
// instead of each waiting again, and a call after the rest tries afresh.
// Serialised use only; any thread may make the calls.
#pragma once

#include <chrono>
#include <memory>

#include "sound/pulseaudio/connection.h"
#include "sound/pulseaudio/deadline.h"

namespace orvel {

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

 private:
  bool resting() const;

  std::unique_ptr<Connection> connection_;
  Deadline::Clock::time_point restUntil_;
};

}  // namespace orvel
