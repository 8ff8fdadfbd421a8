#include "sound/pulseaudio/server_call.h"

#include <chrono>

namespace orvel {
namespace {

constexpr auto operationTime = std::chrono::seconds(2);

}  // namespace

ServerCall::ServerCall(ServerLink& link)
    : link_(link), deadline_(operationTime), connection_(link.connection(deadline_)) {}

bool ServerCall::reconnect() {
  link_.settle();  // drops the connection that ended
  connection_ = link_.connection(deadline_);
  return connection_ != nullptr;
}

}  // namespace orvel
