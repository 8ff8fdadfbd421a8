// Stand-in for Apple's <MacTypes.h> off macOS: the base types with Apple's names,
// sizes and signedness (LP64).
#pragma once

typedef unsigned int UInt32;
typedef signed int SInt32;
typedef SInt32 OSStatus;
typedef unsigned char Boolean;
typedef float Float32;
typedef double Float64;
