#include "sound/pulseaudio/operation.h"

namespace orvel {

Operation& Operation::operator=(Operation&& other) noexcept {
  if (this != &other) {
    release();
    operation_ = other.operation_;
    other.operation_ = nullptr;
  }
  return *this;
}

bool Operation::running() const {
  return operation_ != nullptr && pa_operation_get_state(operation_) == PA_OPERATION_RUNNING;
}

bool Operation::done() const {
  return operation_ != nullptr && pa_operation_get_state(operation_) == PA_OPERATION_DONE;
}

void Operation::release() {
  if (operation_ == nullptr) return;
  if (running()) pa_operation_cancel(operation_);
  pa_operation_unref(operation_);
  operation_ = nullptr;
}

}  // namespace orvel
