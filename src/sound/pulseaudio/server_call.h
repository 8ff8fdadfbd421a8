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

 private:
  ServerLink& link_;
  Deadline deadline_;
  Connection* connection_;
};

}  // namespace orvel
