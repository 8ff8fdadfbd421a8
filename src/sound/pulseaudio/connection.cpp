#include "sound/pulseaudio/connection.h"

#include <algorithm>

namespace orvel {

bool Connection::open(const Deadline& deadline) {
  if (!context_.connect()) return false;
  waitFor([this] { return !context_.good() || context_.ready(); }, deadline);
  if (context_.good() && !context_.ready()) timedOut_ = true;  // still connecting
  return context_.ready();
}

bool Connection::waitFor(const std::function<bool()>& finished, const Deadline& deadline) {
  while (!finished()) {
    if (deadline.passed()) return false;
    if (!context_.good()) return false;
    if (!loop_.iterate(deadline)) return false;
  }
  return true;
}

bool Connection::wait(std::span<const Operation> operations, const Deadline& deadline) {
  const auto settled = [operations] {
    return std::none_of(operations.begin(), operations.end(),
                        [](const Operation& operation) { return operation.running(); });
  };
  if (!waitFor(settled, deadline)) {
    // The server holds requests it didn't answer in time: it may be hung.
    if (context_.good() && deadline.passed()) timedOut_ = true;
    return false;
  }
  return std::all_of(operations.begin(), operations.end(),
                     [](const Operation& operation) { return operation.done(); });
}

}  // namespace orvel
