// CFStrings of the simulated layer: UTF-8 text on the heap, registered while
// alive so that a leak, a double release or a stray reference shows up.
#include "strings.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <string_view>

#include "machine.h"

struct __CFString {
  std::string utf8;
};

extern "C" const CFAllocatorRef kCFAllocatorDefault = nullptr;

namespace orvel::sim {
namespace {

std::mutex registryLock;
std::set<CFStringRef>& registry() {
  static std::set<CFStringRef> live;
  return live;
}

// How many bytes the UTF-8 sequence starting with the byte takes; 0 for a byte
// that can't start one.
std::size_t sequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 0;
}

// The code point at the front of the text, or nothing when it isn't valid UTF-8
// (overlong forms, surrogates and values past U+10FFFF included).
std::optional<char32_t> nextCodePoint(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t length = sequenceLength(lead);
  if (length == 0 || length > text.size()) return std::nullopt;
  char32_t point = length == 1 ? lead : lead & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) return std::nullopt;
    point = (point << 6) | (next & 0x3Fu);
  }
  static constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (point < smallest[length] || point > 0x10FFFF) return std::nullopt;
  if (point >= 0xD800 && point <= 0xDFFF) return std::nullopt;
  text.remove_prefix(length);
  return point;
}

// The length in UTF-16 units, or nothing for text that isn't valid UTF-8.
std::optional<CFIndex> utf16Length(std::string_view text) {
  CFIndex units = 0;
  while (!text.empty()) {
    const auto point = nextCodePoint(text);
    if (!point) return std::nullopt;
    units += *point >= 0x10000 ? 2 : 1;
  }
  return units;
}

bool isASCII(const std::string& text) {
  for (const char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  }
  return true;
}

// Takes a live string off the register; false for one that isn't live.
bool forget(CFStringRef string) {
  const std::lock_guard lock(registryLock);
  return registry().erase(string) == 1;
}

}  // namespace

CFStringRef makeString(const std::string& utf8) {
  CFStringRef string = new __CFString{utf8};
  const std::lock_guard lock(registryLock);
  registry().insert(string);
  return string;
}

const std::string* liveText(CFStringRef string) {
  const std::lock_guard lock(registryLock);
  return registry().contains(string) ? &string->utf8 : nullptr;
}

std::size_t liveStrings() {
  const std::lock_guard lock(registryLock);
  return registry().size();
}

}  // namespace orvel::sim

using orvel::sim::liveText;

extern "C" {

// Releasing what isn't a live CFString crashes, as it does on macOS.
void CFRelease(CFTypeRef cf) {
  const auto string = static_cast<CFStringRef>(cf);
  if (!orvel::sim::forget(string)) std::abort();
  delete string;
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* cStr, CFStringEncoding encoding) {
  if (cStr == nullptr || encoding != kCFStringEncodingUTF8) return nullptr;
  std::string text(cStr);
  if (!orvel::sim::utf16Length(text)) return nullptr;
  return orvel::sim::makeString(text);
}

CFIndex CFStringGetLength(CFStringRef theString) {
  const std::string* text = liveText(theString);
  if (text == nullptr) std::abort();
  return orvel::sim::utf16Length(*text).value_or(0);
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                           CFStringEncoding encoding) {
  const std::string* text = liveText(theString);
  if (text == nullptr) std::abort();
  if (encoding != kCFStringEncodingUTF8 || buffer == nullptr) return false;
  if (bufferSize < 0 || static_cast<std::size_t>(bufferSize) < text->size() + 1) return false;
  std::memcpy(buffer, text->c_str(), text->size() + 1);
  return true;
}

// Like CoreFoundation, gives the inner bytes only sometimes: here for ASCII
// text, never for other text, so callers must have a fallback.
const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding) {
  const std::string* text = liveText(theString);
  if (text == nullptr) std::abort();
  if (encoding != kCFStringEncodingUTF8 || !orvel::sim::isASCII(*text)) return nullptr;
  return text->c_str();
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  if (encoding != kCFStringEncodingUTF8 || length < 0) return -1;  // kCFNotFound
  return length * 3;
}

}  // extern "C"
