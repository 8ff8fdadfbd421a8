// Connection: one main loop with one context on it, and the bounded waits on
// them. A connection or a request that the server doesn't answer by its
// deadline marks the connection as timed out: the server may be hung.
// Serialised use only.
#pragma once

#include <functional>
#include <span>

#include "sound/pulseaudio/context.h"
#include "sound/pulseaudio/deadline.h"
#include "sound/pulseaudio/main_loop.h"
#include "sound/pulseaudio/operation.h"

namespace orvel {

class Connection {
 public:
  Connection() : context_(loop_) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Connects; false when the server can't be reached by the deadline.
  bool open(const Deadline& deadline);

  Context& context() { return context_; }
  bool good() const { return context_.good(); }
  bool timedOut() const { return timedOut_; }

  // Runs the loop until finished() holds: false when the connection ends or
  // the deadline passes first. Waiting for an event that doesn't come is no
  // time-out of the server.
  bool waitFor(const std::function<bool()>& finished, const Deadline& deadline);
  // Waits until no operation runs any more; true when all of them were answered.
  bool wait(std::span<const Operation> operations, const Deadline& deadline);

 private:
  MainLoop loop_;  // declared first: the context must go before its loop
  Context context_;
  bool timedOut_ = false;
};

}  // namespace orvel
