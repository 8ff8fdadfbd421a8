#include "sound/pulseaudio/context.h"

#include <pulse/subscribe.h>

namespace orvel {

Context::Context(MainLoop& loop)
    : context_(loop.valid() ? pa_context_new(loop.api(), "orvel-sound") : nullptr) {
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

bool Context::connect() {
  return context_ != nullptr &&
         pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0;
}

void Context::onEvent(pa_context*, pa_subscription_event_type_t type, std::uint32_t, void* self) {
  const auto facility = type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
  if (facility == PA_SUBSCRIPTION_EVENT_SERVER) ++static_cast<Context*>(self)->serverEvents_;
}

}  // namespace orvel
