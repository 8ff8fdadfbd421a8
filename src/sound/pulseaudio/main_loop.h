// MainLoop: owns a plain libpulse main loop, driven by hand one iteration at a
// time so that no wait outlives its deadline. Not thread-safe: whoever uses it
// serialises the calls; any thread may make them.
#pragma once

#include <pulse/mainloop.h>

#include "sound/pulseaudio/deadline.h"

namespace orvel {

class MainLoop {
 public:
  MainLoop() : loop_(pa_mainloop_new()) {}
  ~MainLoop();
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;

  // False when libpulse couldn't make the loop.
  bool valid() const { return loop_ != nullptr; }
  pa_mainloop_api* api() { return pa_mainloop_get_api(loop_); }

  // Waits for events until the deadline at most and dispatches them; false
  // when the loop fails.
  bool iterate(const Deadline& deadline);

 private:
  pa_mainloop* loop_;
};

}  // namespace orvel
