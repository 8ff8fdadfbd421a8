#include "sound/coreaudio/cf_string.h"

#include <vector>

namespace orvel::coreaudio {

CFStringOwner& CFStringOwner::operator=(CFStringOwner&& other) noexcept {
  if (this != &other) {
    reset();
    string_ = other.release();
  }
  return *this;
}

CFStringRef* CFStringOwner::receive() {
  reset();
  return &string_;
}

void CFStringOwner::reset() {
  if (string_ != nullptr) CFRelease(string_);
  string_ = nullptr;
}

CFStringRef CFStringOwner::release() {
  const CFStringRef string = string_;
  string_ = nullptr;
  return string;
}

CFStringOwner makeCFString(const std::string& text) {
  // The C string would end at a NUL and name some other text: a UID "a\0b" is not "a".
  if (text.find('\0') != std::string::npos) return {};
  return CFStringOwner(
      CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
}

std::optional<std::string> utf8Text(CFStringRef string) {
  // The inner bytes are offered only for some strings; copy them when they are.
  if (const char* direct = CFStringGetCStringPtr(string, kCFStringEncodingUTF8)) {
    return std::string(direct);
  }
  const CFIndex size =
      CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
  if (size < 1) return std::nullopt;  // the length overflowed the largest size
  std::vector<char> buffer(static_cast<std::size_t>(size));
  if (!CFStringGetCString(string, buffer.data(), size, kCFStringEncodingUTF8)) {
    return std::nullopt;
  }
  return std::string(buffer.data());
}

}  // namespace orvel::coreaudio
