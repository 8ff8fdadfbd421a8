// The CoreAudio backend is the one this executable is built with.
#include "sound/active_backend.h"

#include "sound/coreaudio/core_audio_system.h"

namespace orvel {

std::unique_ptr<SoundSystem> makeSystem() {
  return std::make_unique<CoreAudioSystem>();
}

std::string_view backendName() {
  return "coreaudio";
}

}  // namespace orvel
