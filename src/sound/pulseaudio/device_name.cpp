#include "sound/pulseaudio/device_name.h"

#include <cstdlib>

namespace orvel {
namespace {

// Whether the whole text reads as a number in C's notation (decimal, octal, hex).
bool readsAsNumber(const std::string& text) {
  char* end = nullptr;
  std::strtoull(text.c_str(), &end, 0);
  return end != text.c_str() && *end == '\0';
}

}  // namespace

bool isDeviceName(const std::string& uid) {
  return !uid.empty() && uid.front() != '@' && uid.find('\0') == std::string::npos &&
         !readsAsNumber(uid);
}

}  // namespace orvel
