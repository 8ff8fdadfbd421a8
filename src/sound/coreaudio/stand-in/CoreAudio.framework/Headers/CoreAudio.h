// Stand-in for Apple's <CoreAudio/CoreAudio.h>: the hardware-layer types,
// constants and property calls that the CoreAudio backend uses, with Apple's
// names, values and layouts. Four-character codes are written as hex
// (0x676C6F62 is 'glob'). Off macOS the simulated layer implements the calls
// over an in-memory or file-backed machine (its test API is machine.h); the
// macOS cross build links them against CoreAudio.tbd, as a Mac's framework.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

extern "C" {

typedef UInt32 AudioObjectID;
typedef AudioObjectID AudioDeviceID;
typedef UInt32 AudioObjectPropertySelector;
typedef UInt32 AudioObjectPropertyScope;
typedef UInt32 AudioObjectPropertyElement;
typedef UInt32 AudioChannelLayoutTag;
typedef UInt32 AudioChannelLabel;
typedef UInt32 AudioChannelFlags;
typedef UInt32 AudioChannelBitmap;

struct AudioObjectPropertyAddress {
  AudioObjectPropertySelector mSelector;
  AudioObjectPropertyScope mScope;
  AudioObjectPropertyElement mElement;
};
typedef struct AudioObjectPropertyAddress AudioObjectPropertyAddress;

struct AudioValueRange {
  Float64 mMinimum;
  Float64 mMaximum;
};
typedef struct AudioValueRange AudioValueRange;

struct AudioBuffer {
  UInt32 mNumberChannels;
  UInt32 mDataByteSize;
  void* mData;
};
typedef struct AudioBuffer AudioBuffer;

// Variable length: mNumberBuffers buffers from offset 8.
struct AudioBufferList {
  UInt32 mNumberBuffers;
  AudioBuffer mBuffers[1];
};
typedef struct AudioBufferList AudioBufferList;

struct AudioChannelDescription {
  AudioChannelLabel mChannelLabel;
  AudioChannelFlags mChannelFlags;
  Float32 mCoordinates[3];
};
typedef struct AudioChannelDescription AudioChannelDescription;

// Variable length: mNumberChannelDescriptions descriptions from offset 12.
struct AudioChannelLayout {
  AudioChannelLayoutTag mChannelLayoutTag;
  AudioChannelBitmap mChannelBitmap;
  UInt32 mNumberChannelDescriptions;
  AudioChannelDescription mChannelDescriptions[1];
};
typedef struct AudioChannelLayout AudioChannelLayout;

enum : AudioChannelLayoutTag {
  kAudioChannelLayoutTag_UseChannelDescriptions = (0U << 16) | 0,
  kAudioChannelLayoutTag_UseChannelBitmap = (1U << 16) | 0,
  kAudioChannelLayoutTag_Mono = (100U << 16) | 1,
  kAudioChannelLayoutTag_Stereo = (101U << 16) | 2,
};

enum : AudioObjectID {
  kAudioObjectUnknown = 0,
  kAudioObjectSystemObject = 1,
};

enum : AudioObjectPropertyScope {
  kAudioObjectPropertyScopeGlobal = 0x676C6F62,  // 'glob'
  kAudioObjectPropertyScopeInput = 0x696E7074,   // 'inpt'
  kAudioObjectPropertyScopeOutput = 0x6F757470,  // 'outp'
};

enum : AudioObjectPropertyScope {
  kAudioDevicePropertyScopeInput = kAudioObjectPropertyScopeInput,
  kAudioDevicePropertyScopeOutput = kAudioObjectPropertyScopeOutput,
};

enum : AudioObjectPropertyElement {
  kAudioObjectPropertyElementMain = 0,
};

enum : AudioObjectPropertySelector {
  kAudioObjectPropertyName = 0x6C6E616D,                         // 'lnam'
  kAudioHardwarePropertyDevices = 0x64657623,                    // 'dev#'
  kAudioHardwarePropertyDefaultInputDevice = 0x64496E20,         // 'dIn '
  kAudioHardwarePropertyDefaultOutputDevice = 0x644F7574,        // 'dOut'
  kAudioHardwarePropertyTranslateUIDToDevice = 0x75696464,       // 'uidd'
  kAudioHardwarePropertyRunLoop = 0x726E6C70,                    // 'rnlp'
  kAudioDevicePropertyDeviceUID = 0x75696420,                    // 'uid '
  kAudioDevicePropertyNominalSampleRate = 0x6E737274,            // 'nsrt'
  kAudioDevicePropertyAvailableNominalSampleRates = 0x6E737223,  // 'nsr#'
  kAudioDevicePropertyStreamConfiguration = 0x736C6179,          // 'slay'
  kAudioDevicePropertyPreferredChannelLayout = 0x73726E64,       // 'srnd'
  kAudioDevicePropertyVolumeScalar = 0x766F6C6D,                 // 'volm'
};

enum : OSStatus {
  kAudioHardwareNoError = 0,
  kAudioHardwareUnspecifiedError = 0x77686174,           // 'what'
  kAudioHardwareUnknownPropertyError = 0x77686F3F,       // 'who?'
  kAudioHardwareBadPropertySizeError = 0x2173697A,       // '!siz'
  kAudioHardwareIllegalOperationError = 0x6E6F7065,      // 'nope'
  kAudioHardwareBadObjectError = 0x216F626A,             // '!obj'
  kAudioHardwareUnsupportedOperationError = 0x756E6F70,  // 'unop'
  kAudioDeviceUnsupportedFormatError = 0x21646174,       // '!dat'
};

Boolean AudioObjectHasProperty(AudioObjectID inObjectID,
                               const AudioObjectPropertyAddress* inAddress);
OSStatus AudioObjectIsPropertySettable(AudioObjectID inObjectID,
                                       const AudioObjectPropertyAddress* inAddress,
                                       Boolean* outIsSettable);
OSStatus AudioObjectGetPropertyDataSize(AudioObjectID inObjectID,
                                        const AudioObjectPropertyAddress* inAddress,
                                        UInt32 inQualifierDataSize, const void* inQualifierData,
                                        UInt32* outDataSize);
OSStatus AudioObjectGetPropertyData(AudioObjectID inObjectID,
                                    const AudioObjectPropertyAddress* inAddress,
                                    UInt32 inQualifierDataSize, const void* inQualifierData,
                                    UInt32* ioDataSize, void* outData);
OSStatus AudioObjectSetPropertyData(AudioObjectID inObjectID,
                                    const AudioObjectPropertyAddress* inAddress,
                                    UInt32 inQualifierDataSize, const void* inQualifierData,
                                    UInt32 inDataSize, const void* inData);

}  // extern "C"
