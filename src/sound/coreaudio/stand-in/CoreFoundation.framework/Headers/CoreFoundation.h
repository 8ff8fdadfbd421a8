// Stand-in for Apple's <CoreFoundation/CoreFoundation.h>: the CFString part that
// the CoreAudio backend uses, and the run loop type, declared as Apple declares
// them. Off macOS the simulated layer implements them (strings.cpp); the macOS
// cross build links them against CoreFoundation.tbd and takes <MacTypes.h> from
// macOS's own headers.
#pragma once

#include <MacTypes.h>

extern "C" {

typedef signed long CFIndex;
typedef const void* CFTypeRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef UInt32 CFStringEncoding;
typedef struct __CFRunLoop* CFRunLoopRef;

enum CFStringBuiltInEncodings : CFStringEncoding {
  kCFStringEncodingUTF8 = 0x08000100,
};
typedef enum CFStringBuiltInEncodings CFStringBuiltInEncodings;

// A synonym for NULL: the default allocator.
extern const CFAllocatorRef kCFAllocatorDefault;

void CFRelease(CFTypeRef cf);

CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr,
                                      CFStringEncoding encoding);
CFIndex CFStringGetLength(CFStringRef theString);
Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                           CFStringEncoding encoding);
const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

}  // extern "C"
