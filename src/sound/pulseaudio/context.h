// Context: owns one libpulse connection object and counts the server events
// it has been told of. It never starts a server (no autospawn); libpulse's own
// environment (PULSE_SERVER) picks the server. Serialised use only.
#pragma once

#include <cstdint>

#include <pulse/context.h>

#include "sound/pulseaudio/main_loop.h"

namespace orvel {

class Context {
 public:
  explicit Context(MainLoop& loop);
  ~Context();
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  pa_context* get() { return context_; }
  bool valid() const { return context_ != nullptr; }
  // Connecting or connected; false once the connection failed or ended.
  bool good() const;
  bool ready() const;

  // Starts connecting; false when it can't even start.
  bool connect();

  // How many server events (such as a changed default device) came so far.
  // Counts only once the caller has subscribed to them; see subscribed().
  std::uint64_t serverEvents() const { return serverEvents_; }
  bool subscribed() const { return subscribed_; }
  void markSubscribed() { subscribed_ = true; }

 private:
  static void onEvent(pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self);

  pa_context* context_;
  std::uint64_t serverEvents_ = 0;
  bool subscribed_ = false;
};

}  // namespace orvel
