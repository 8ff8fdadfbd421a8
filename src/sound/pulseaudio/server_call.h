// ServerCall: one interface operation's use of the server: a deadline of about
// two seconds for all of it, connecting included, and the link's connection.
// Ending the call settles the link (see ServerLink).
#pragma once

#include <functional>
#include <span>

#include "sound/pulseaudio/connection.h"
#include "sound/pulseaudio/server_link.h"

namespace orvel {

class ServerCall {
 public:
  explicit ServerCall(ServerLink& link);
  ~ServerCall() { link_.settle(); }
  ServerCall(const ServerCall&) = delete;
  ServerCall& operator=(const ServerCall&) = delete;

  // False when there is no connection: the call then fails as a whole.
  explicit operator bool() const { return connection_ != nullptr; }

  // Only when connected.
  Context& context() { return connection_->context(); }
  bool wait(std::span<const Operation> operations) {
    return connection_->wait(operations, deadline_);
  }
  bool waitFor(const std::function<bool()>& finished) {
    return connection_->waitFor(finished, deadline_);
  }

  // The connection ended during the call: the server went away or restarted.
  // A server that doesn't answer in time is no such end.
  bool ended() const {
    return connection_ != nullptr && !connection_->good() && !connection_->timedOut();
  }
  // Connects again within the call's deadline; false when no connection can be had.
  bool reconnect();

 private:
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

}  // namespace orvel
