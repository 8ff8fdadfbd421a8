// The backend that an executable is built with. Each backend folder has its own
// active_backend.cpp and the build links exactly one of them.
#pragma once

#include <memory>
#include <string_view>

#include "sound/sound_system.h"

namespace orvel {

std::unique_ptr<SoundSystem> makeSystem();
std::string_view backendName();

}  // namespace orvel
