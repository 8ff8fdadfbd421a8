#include "sound/pulseaudio/server_link.h"

#include <pulse/context.h>
#include <pulse/mainloop.h>

namespace orvel::pulse {

// One main loop with one context on it, and the bounded waits on them. A
// connection or a request that the server doesn't answer by its deadline marks
// the connection as timed out: the server may be hung.
class Connection {
 public:
  // The libpulse objects of one connection, not yet connecting.
  Connection()
      : loop_(pa_mainloop_new()),
        context_(loop_.get() != nullptr
                     ? pa_context_new(pa_mainloop_get_api(loop_.get()), "orvel-sound")
                     : nullptr) {}

  // Connects to the server that libpulse's environment names (PULSE_SERVER),
  // never starting one; false when it can't be reached by the deadline.
  bool open(const Deadline& deadline) {
    if (context_.get() == nullptr ||
        pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
      return false;
    }
    waitFor([this] { return !context_.good() || context_.ready(); }, deadline);
    if (context_.good() && !context_.ready()) timedOut_ = true;  // still connecting
    return context_.ready();
  }

  Context& context() { return context_; }
  bool good() const { return context_.good(); }
  bool timedOut() const { return timedOut_; }

  bool waitFor(const std::function<bool()>& finished, const Deadline& deadline) {
    while (!finished()) {
      if (deadline.passed() || !context_.good()) return false;
      if (!loop_.iterate(deadline.remainingMicros())) return false;
    }
    return true;
  }

  bool wait(std::initializer_list<const Operation*> operations, const Deadline& deadline) {
    const auto settled = [operations] {
      return std::none_of(operations.begin(), operations.end(),
                          [](const Operation* operation) { return operation->running(); });
    };
    if (!waitFor(settled, deadline)) {
      // The server holds requests it didn't answer in time: it may be hung.
      if (context_.good() && deadline.passed()) timedOut_ = true;
      return false;
    }
    return std::all_of(operations.begin(), operations.end(),
                       [](const Operation* operation) { return operation->done(); });
  }

 private:
  MainLoop loop_;  // declared first: the context must go before its loop
  Context context_;
  bool timedOut_ = false;
};

namespace {

// Long enough to cover the burst of calls of one restore, short enough that a
// server that was only briefly stuck gets asked again later.
constexpr auto restAfterTimeout = std::chrono::seconds(10);

constexpr auto operationTime = std::chrono::seconds(2);

}  // namespace

ServerLink::ServerLink() = default;
ServerLink::~ServerLink() = default;

Connection* ServerLink::connection(const Deadline& deadline) {
  if (connection_ != nullptr && connection_->good()) return connection_.get();
  connection_.reset();
  if (resting()) return nullptr;
  connection_ = std::make_unique<Connection>();
  ++connections_;
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

// A call that hasn't come back this long after its deadline is stuck inside libpulse.
constexpr auto stuckAfter = operationTime + std::chrono::seconds(3);

ServerCall::ServerCall(ServerLink& link)
    : guard_(stuckAfter),
      link_(link),
      deadline_(operationTime),
      connection_(link.connection(deadline_)) {}

Context& ServerCall::context() {
  return connection_->context();
}

bool ServerCall::wait(std::initializer_list<const Operation*> operations) {
  return connection_->wait(operations, deadline_);
}

std::uint64_t ServerCall::connectionNumber() const {
  return link_.connections();
}

bool ServerCall::waitFor(const std::function<bool()>& finished) {
  return connection_->waitFor(finished, deadline_);
}

bool ServerCall::ended() const {
  return connection_ != nullptr && !connection_->good() && !connection_->timedOut();
}

bool ServerCall::reconnect() {
  link_.settle();  // drops the connection that ended
  connection_ = link_.connection(deadline_);
  return connection_ != nullptr;
}

}  // namespace orvel::pulse
