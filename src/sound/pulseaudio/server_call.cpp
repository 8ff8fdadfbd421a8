#include "sound/pulseaudio/server_call.h"

#include <chrono>

namespace orvel {
namespace {

constexpr auto operationTime = std::chrono::seconds(2);

}  // namespace

ServerCall::ServerCall(ServerLink& link)
    : link_(link), deadline_(operationTime), connection_(link.connection(deadline_)) {}

}  // namespace orvel
