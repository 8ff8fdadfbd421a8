#include "sound/pulseaudio/main_loop.h"

namespace orvel {

MainLoop::~MainLoop() {
  if (loop_ != nullptr) pa_mainloop_free(loop_);
}

bool MainLoop::iterate(const Deadline& deadline) {
  if (pa_mainloop_prepare(loop_, deadline.remainingMicros()) < 0) return false;
  if (pa_mainloop_poll(loop_) < 0) return false;
  return pa_mainloop_dispatch(loop_) >= 0;
}

}  // namespace orvel
