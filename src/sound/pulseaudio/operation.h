// Operation: owns one pending libpulse request. Releasing it cancels the
// request if it is still running, so its callback never runs afterwards and
// the reply it would have filled may go away.
#pragma once

#include <pulse/operation.h>

namespace orvel {

class Operation {
 public:
  // Takes over the reference; nullptr stands for a request that couldn't be sent.
  explicit Operation(pa_operation* operation = nullptr) : operation_(operation) {}
  ~Operation() { release(); }
  Operation(Operation&& other) noexcept : operation_(other.operation_) {
    other.operation_ = nullptr;
  }
  Operation& operator=(Operation&& other) noexcept;
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  bool running() const;
  // Whether the server answered it (the answer may still be an error).
  bool done() const;

 private:
  void release();

  pa_operation* operation_;
};

}  // namespace orvel
