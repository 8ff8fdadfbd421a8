// CFStringOwner: the owner of one CFString reference, released exactly once
// when the owner goes, so that no path of a CoreAudio call leaks one. Plus the
// two conversions between CFStrings and UTF-8 text.
#pragma once

#include <CoreAudio/CoreAudio.h>

#include <optional>
#include <string>

namespace orvel::coreaudio {

class CFStringOwner {
 public:
  CFStringOwner() = default;
  // Takes over a reference from a Create call or a property read.
  explicit CFStringOwner(CFStringRef string) : string_(string) {}
  CFStringOwner(CFStringOwner&& other) noexcept : string_(other.release()) {}
  CFStringOwner& operator=(CFStringOwner&& other) noexcept;
  CFStringOwner(const CFStringOwner&) = delete;
  CFStringOwner& operator=(const CFStringOwner&) = delete;
  ~CFStringOwner() { reset(); }

  CFStringRef get() const { return string_; }
  explicit operator bool() const { return string_ != nullptr; }

  // Where a property read puts a new reference; any held one is released first.
  CFStringRef* receive();
  void reset();
  CFStringRef release();

 private:
  CFStringRef string_ = nullptr;
};

// A new CFString of the text; empty when the text isn't valid UTF-8 or holds a NUL.
CFStringOwner makeCFString(const std::string& text);

// The string's text in UTF-8; nothing when it can't be converted.
std::optional<std::string> utf8Text(CFStringRef string);

}  // namespace orvel::coreaudio
