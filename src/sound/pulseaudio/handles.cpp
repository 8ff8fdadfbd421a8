#include "sound/pulseaudio/handles.h"

#include <pulse/subscribe.h>

namespace orvel::pulse {

MainLoop::~MainLoop() {
  if (loop_ != nullptr) pa_mainloop_free(loop_);
}

bool MainLoop::iterate(int timeoutMicros) {
  if (pa_mainloop_prepare(loop_, timeoutMicros) < 0) return false;
  if (pa_mainloop_poll(loop_) < 0) return false;
  return pa_mainloop_dispatch(loop_) >= 0;
}

Context::Context(pa_context* context) : context_(context) {
  if (context_ != nullptr) pa_context_set_subscribe_callback(context_, &Context::onEvent, this);
}

Context::~Context() {
  if (context_ == nullptr) return;
  pa_context_set_subscribe_callback(context_, nullptr, nullptr);
  pa_context_disconnect(context_);
  pa_context_unref(context_);
}

bool Context::good() const {
  return context_ != nullptr && PA_CONTEXT_IS_GOOD(pa_context_get_state(context_));
}

bool Context::ready() const {
  return context_ != nullptr && pa_context_get_state(context_) == PA_CONTEXT_READY;
}

void Context::onEvent(pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self) {
  ++static_cast<Context*>(self)->events_;
}

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

}  // namespace orvel::pulse
