// The libpulse objects the backend holds, each owned by one small type that
// releases it on every path: the main loop, the context (one connection to
// the server) and a pending request. Not thread-safe: whoever uses them
// serialises the calls; any thread may make them.
#pragma once

#include <cstdint>

#include <pulse/context.h>
#include <pulse/mainloop.h>
#include <pulse/operation.h>

namespace orvel::pulse {

// A plain main loop, driven by hand one iteration at a time so that no wait
// outlives its deadline.
class MainLoop {
 public:
  // Takes over the loop; null when libpulse couldn't make one.
  explicit MainLoop(pa_mainloop* loop) : loop_(loop) {}
  ~MainLoop();
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;

  pa_mainloop* get() const { return loop_; }

  // Waits for events for at most the time given and dispatches them; false
  // when the loop fails.
  bool iterate(int timeoutMicros);

 private:
  pa_mainloop* loop_;
};

// A context, counting the events of the server and its sinks it has been told
// of once subscribed.
// It stays where it was made: libpulse calls back with its address.
class Context {
 public:
  // Takes over the context; null when libpulse couldn't make one.
  explicit Context(pa_context* context);
  ~Context();
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  pa_context* get() const { return context_; }
  // Connecting or connected; false once the connection failed or ended.
  bool good() const;
  bool ready() const;

  // How many events (a changed default device, a sink's new volume) came so
  // far. Counts only once the caller has subscribed to them; see subscribed().
  std::uint64_t events() const { return events_; }
  bool subscribed() const { return subscribed_; }
  void markSubscribed() { subscribed_ = true; }

 private:
  static void onEvent(pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self);

  pa_context* context_;
  std::uint64_t events_ = 0;
  bool subscribed_ = false;
};

// A pending request. Releasing it cancels the request if it is still running,
// so its callback never runs afterwards and the reply it would have filled may go.
class Operation {
 public:
  // Takes over the reference; null stands for a request that couldn't be sent.
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

}  // namespace orvel::pulse
