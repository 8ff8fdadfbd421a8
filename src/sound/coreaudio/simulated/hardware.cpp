// The five CoreAudio property calls of the simulated layer. Each call is logged
// on the machine in force, then answered from it as the real hardware layer
// answers: an unknown object fails with '!obj', a property it lacks with 'who?'.
#include <CoreAudio/CoreAudio.h>

#include <algorithm>
#include <cstring>

#include "properties.h"
#include "session.h"
#include "settling.h"
#include "strings.h"

namespace orvel::sim {
namespace {

// The property a call names, once the call may go on; else the status to fail with.
struct Found {
  std::optional<Property> property;
  OSStatus status = kAudioHardwareNoError;
};

Found find(Machine& machine, AudioObjectID object, const AudioObjectPropertyAddress* address) {
  if (address == nullptr) return {std::nullopt, kAudioHardwareIllegalOperationError};
  if (!objectExists(machine, object)) return {std::nullopt, kAudioHardwareBadObjectError};
  auto property = findProperty(machine, object, *address);
  if (!property || !property->present || faultOf(machine, *property) == Fault::missing) {
    return {std::nullopt, kAudioHardwareUnknownPropertyError};
  }
  return {std::move(property), kAudioHardwareNoError};
}

// Like find, for a read: an unreadable property fails too.
Found findReadable(Machine& machine, AudioObjectID object,
                   const AudioObjectPropertyAddress* address) {
  Found found = find(machine, object, address);
  if (found.property && faultOf(machine, *found.property) == Fault::unreadable) {
    return {std::nullopt, kAudioHardwareUnspecifiedError};
  }
  return found;
}

void record(Machine& machine, Function function, AudioObjectID object,
            const AudioObjectPropertyAddress* address) {
  machine.calls.push_back(
      Call{function, object, address != nullptr ? *address : AudioObjectPropertyAddress{}});
}

bool isTranslation(const Property& property) {
  return property.device == nullptr &&
         property.address.mSelector == kAudioHardwarePropertyTranslateUIDToDevice;
}

// The UID that a translation asks about: the qualifier holds one CFString reference.
const std::string* uidQuery(UInt32 size, const void* data) {
  if (size != sizeof(CFStringRef) || data == nullptr) return nullptr;
  CFStringRef uid = nullptr;
  std::memcpy(&uid, data, sizeof uid);
  return liveText(uid);
}

// Copies as much of the value as the caller has room for; a CFString value is
// a new reference that the caller owns.
OSStatus deliver(const Value& value, UInt32* ioDataSize, void* outData) {
  if (value.fixedSize && *ioDataSize < value.size()) return kAudioHardwareBadPropertySizeError;
  const UInt32 size = std::min(*ioDataSize, value.size());
  if (value.string) {
    CFStringRef string = makeString(*value.string);
    std::memcpy(outData, &string, sizeof string);
  } else if (size > 0) {
    std::memcpy(outData, value.bytes.data(), size);
  }
  *ioDataSize = size;
  return kAudioHardwareNoError;
}

}  // namespace
}  // namespace orvel::sim

namespace sim = orvel::sim;

extern "C" {

Boolean AudioObjectHasProperty(AudioObjectID inObjectID,
                               const AudioObjectPropertyAddress* inAddress) {
  sim::MachineInUse machine;
  sim::record(*machine, sim::Function::hasProperty, inObjectID, inAddress);
  return sim::find(*machine, inObjectID, inAddress).property.has_value();
}

OSStatus AudioObjectIsPropertySettable(AudioObjectID inObjectID,
                                       const AudioObjectPropertyAddress* inAddress,
                                       Boolean* outIsSettable) {
  sim::MachineInUse machine;
  sim::record(*machine, sim::Function::isSettable, inObjectID, inAddress);
  const sim::Found found = sim::find(*machine, inObjectID, inAddress);
  if (!found.property) return found.status;
  if (outIsSettable == nullptr) return kAudioHardwareIllegalOperationError;
  *outIsSettable =
      found.property->writable && sim::faultOf(*machine, *found.property) != sim::Fault::fixed;
  return kAudioHardwareNoError;
}

OSStatus AudioObjectGetPropertyDataSize(AudioObjectID inObjectID,
                                        const AudioObjectPropertyAddress* inAddress,
                                        UInt32 inQualifierDataSize, const void* inQualifierData,
                                        UInt32* outDataSize) {
  sim::MachineInUse machine;
  sim::record(*machine, sim::Function::getPropertyDataSize, inObjectID, inAddress);
  const sim::Found found = sim::findReadable(*machine, inObjectID, inAddress);
  if (!found.property) return found.status;
  if (outDataSize == nullptr) return kAudioHardwareIllegalOperationError;
  const std::string* uid = sim::uidQuery(inQualifierDataSize, inQualifierData);
  *outDataSize = sim::valueOf(*machine, *found.property, uid).size();
  return kAudioHardwareNoError;
}

OSStatus AudioObjectGetPropertyData(AudioObjectID inObjectID,
                                    const AudioObjectPropertyAddress* inAddress,
                                    UInt32 inQualifierDataSize, const void* inQualifierData,
                                    UInt32* ioDataSize, void* outData) {
  sim::MachineInUse machine;
  sim::record(*machine, sim::Function::getPropertyData, inObjectID, inAddress);
  const sim::Found found = sim::findReadable(*machine, inObjectID, inAddress);
  if (!found.property) return found.status;
  if (ioDataSize == nullptr || outData == nullptr) return kAudioHardwareIllegalOperationError;
  const std::string* uid = sim::uidQuery(inQualifierDataSize, inQualifierData);
  if (sim::isTranslation(*found.property) && uid == nullptr)
    return kAudioHardwareBadPropertySizeError;
  const sim::Value value = sim::valueOf(*machine, *found.property, uid);
  return sim::deliver(value, ioDataSize, outData);
}

OSStatus AudioObjectSetPropertyData(AudioObjectID inObjectID,
                                    const AudioObjectPropertyAddress* inAddress,
                                    UInt32 /*inQualifierDataSize*/, const void* /*inQualifierData*/,
                                    UInt32 inDataSize, const void* inData) {
  sim::MachineInUse machine;
  sim::record(*machine, sim::Function::setPropertyData, inObjectID, inAddress);
  const sim::Found found = sim::find(*machine, inObjectID, inAddress);
  if (!found.property) return found.status;
  const auto fault = sim::faultOf(*machine, *found.property);
  if (!found.property->writable || fault == sim::Fault::fixed)
    return kAudioHardwareIllegalOperationError;
  if (fault == sim::Fault::refused) return kAudioHardwareUnspecifiedError;
  if (inData == nullptr) return kAudioHardwareIllegalOperationError;
  const sim::Value before = sim::valueOf(*machine, *found.property, nullptr);
  const OSStatus status = sim::write(*machine, *found.property, inData, inDataSize);
  if (status != kAudioHardwareNoError) return status;
  sim::settleLater(*machine, inObjectID, *found.property, before);
  return machine.keep() ? kAudioHardwareNoError : kAudioHardwareUnspecifiedError;
}

}  // extern "C"
