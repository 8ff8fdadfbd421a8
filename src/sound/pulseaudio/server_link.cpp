#include "sound/pulseaudio/server_link.h"

namespace orvel {
namespace {

// Long enough to cover the burst of calls of one restore, short enough that a
// server that was only briefly stuck gets asked again later.
constexpr auto restAfterTimeout = std::chrono::seconds(10);

}  // namespace

ServerLink::ServerLink() = default;
ServerLink::~ServerLink() = default;

Connection* ServerLink::connection(const Deadline& deadline) {
  if (connection_ != nullptr && connection_->good()) return connection_.get();
  connection_.reset();
  if (resting()) return nullptr;
  connection_ = std::make_unique<Connection>();
  if (!connection_->open(deadline)) {
    settle();
    return nullptr;
  }
  return connection_.get();
}

void ServerLink::settle() {
  if (connection_ == nullptr) return;
  if (connection_->timedOut()) restUntil_ = Deadline::Clock::now() + restAfterTimeout;
  if (connection_->timedOut() || !connection_->good()) connection_.reset();
}

bool ServerLink::resting() const {
  return Deadline::Clock::now() < restUntil_;
}

}  // namespace orvel
