#include "sound/active_backend.h"

#include "sound/pulseaudio/pulseaudio_system.h"

namespace orvel {

std::unique_ptr<SoundSystem> makeSystem() {
  return std::make_unique<PulseAudioSystem>();
}

std::string_view backendName() {
  return "pulseaudio";
}

}  // namespace orvel
