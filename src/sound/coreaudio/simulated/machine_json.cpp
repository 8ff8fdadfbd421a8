#include "machine_json.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include <nlohmann/json.hpp>

#include "sound/base64.h"
#include "sound/volume_key.h"

namespace orvel::sim {
namespace {

using nlohmann::json;

constexpr std::pair<Fault, const char*> faultNames[] = {
    {Fault::missing, "missing"},
    {Fault::unreadable, "unreadable"},
    {Fault::fixed, "fixed"},
    {Fault::refused, "refused"},
};

const json* member(const json& object, const char* key) {
  const auto found = object.find(key);
  return found == object.end() ? nullptr : &*found;
}

std::optional<UInt32> uint32Of(const json& value) {
  if (!value.is_number_unsigned()) return std::nullopt;
  const auto number = value.get<std::uint64_t>();
  if (number > std::numeric_limits<UInt32>::max()) return std::nullopt;
  return static_cast<UInt32>(number);
}

std::optional<Float64> float64Of(const json& value) {
  if (!value.is_number()) return std::nullopt;
  return value.get<Float64>();
}

std::optional<Float32> float32Of(const json& value) {
  const auto number = float64Of(value);
  if (!number || std::fabs(*number) > std::numeric_limits<Float32>::max()) return std::nullopt;
  return static_cast<Float32>(*number);
}

std::optional<std::string> stringOf(const json* value) {
  if (value == nullptr || !value->is_string()) return std::nullopt;
  return value->get<std::string>();
}

// Every element read with `read`; nothing when the value isn't an array or an
// element doesn't read.
template <typename Read>
auto arrayOf(const json* value, Read read)
    -> std::optional<std::vector<typename decltype(read(json()))::value_type>> {
  if (value == nullptr || !value->is_array()) return std::nullopt;
  std::vector<typename decltype(read(json()))::value_type> elements;
  for (const json& element : *value) {
    const auto item = read(element);
    if (!item) return std::nullopt;
    elements.push_back(*item);
  }
  return elements;
}

std::optional<AudioValueRange> rangeOf(const json& value) {
  if (!value.is_array() || value.size() != 2) return std::nullopt;
  const auto minimum = float64Of(value[0]);
  const auto maximum = float64Of(value[1]);
  if (!minimum || !maximum) return std::nullopt;
  return AudioValueRange{*minimum, *maximum};
}

std::optional<std::vector<std::uint8_t>> layoutOf(const json* value) {
  const auto text = stringOf(value);
  if (!text) return std::nullopt;
  return base64Decode(*text);
}

std::map<AudioObjectPropertyElement, Float32> volumeOf(const json* value) {
  std::map<AudioObjectPropertyElement, Float32> controls;
  if (value == nullptr || !value->is_object()) return controls;
  for (const auto& [key, scalar] : value->items()) {
    const auto element = parseVolumeKey(key);
    const auto level = float32Of(scalar);
    if (!element || !level) return {};
    controls[*element] = *level;
  }
  return controls;
}

std::optional<Fault> faultNamed(const json& value) {
  for (const auto& [fault, name] : faultNames) {
    if (value == name) return fault;
  }
  return std::nullopt;
}

Faults faultsOf(const json& object) {
  Faults faults;
  const auto fixed = arrayOf(member(object, "fixed"), [](const json& name) {
    return name.is_string() ? std::optional(name.get<std::string>()) : std::nullopt;
  });
  for (const std::string& name : fixed.value_or(std::vector<std::string>{})) {
    faults[name] = Fault::fixed;
  }
  const json* named = member(object, "faults");
  if (named == nullptr || !named->is_object()) return faults;
  for (const auto& [name, kind] : named->items()) {
    if (const auto fault = faultNamed(kind)) faults[name] = *fault;
  }
  return faults;
}

std::optional<Device> deviceOf(const json& value) {
  if (!value.is_object()) return std::nullopt;
  const json* id = member(value, "id");
  const auto number = id != nullptr ? uint32Of(*id) : std::nullopt;
  if (!number || *number <= kAudioObjectSystemObject) return std::nullopt;
  Device device;
  device.id = *number;
  device.uid = stringOf(member(value, "uid"));
  device.name = stringOf(member(value, "name"));
  device.output = arrayOf(member(value, "output"), uint32Of);
  device.input = arrayOf(member(value, "input"), uint32Of);
  const json* rate = member(value, "rate");
  device.rate = rate != nullptr ? float64Of(*rate) : std::nullopt;
  device.rateRanges = arrayOf(member(value, "rateRanges"), rangeOf);
  device.layout = layoutOf(member(value, "layout"));
  device.volume = volumeOf(member(value, "volume"));
  const json* steps = member(value, "volumeSteps");
  device.volumeSteps = steps != nullptr ? uint32Of(*steps).value_or(0) : 0;
  if (device.volumeSteps != 0) {  // a control holds its own steps only, from the start
    const auto steps32 = static_cast<Float32>(device.volumeSteps);
    for (auto& [element, level] : device.volume) {
      level = std::round(std::clamp(level, 0.0f, 1.0f) * steps32) / steps32;
    }
  }
  if (const json* lag = member(value, "lag"); lag != nullptr && lag->is_object()) {
    for (const auto& [kind, ms] : lag->items()) {
      if (const auto millis = uint32Of(ms)) device.lag[kind] = *millis;
    }
  }
  device.faults = faultsOf(value);
  return device;
}

AudioObjectID idOf(const json& object, const char* key) {
  const json* value = member(object, key);
  return value != nullptr ? uint32Of(*value).value_or(kAudioObjectUnknown) : kAudioObjectUnknown;
}

// {"object", "selector", "element", "value" (base64 bytes), "due" (ms since the epoch)}
std::optional<Pending> pendingOf(const json& entry) {
  if (!entry.is_object()) return std::nullopt;
  const json* object = member(entry, "object");
  const json* selector = member(entry, "selector");
  const json* element = member(entry, "element");
  const json* due = member(entry, "due");
  const auto bytes = layoutOf(member(entry, "value"));
  if (!object || !selector || !element || !due || !bytes || !due->is_number_integer()) {
    return std::nullopt;
  }
  const auto id = uint32Of(*object), code = uint32Of(*selector), index = uint32Of(*element);
  if (!id || !code || !index) return std::nullopt;
  return Pending{*id, *code, *index, *bytes, due->get<std::int64_t>()};
}

Machine machineOf(const json& top) {
  Machine machine;
  if (!top.is_object()) return machine;
  machine.defaultOutput = idOf(top, "defaultOutput");
  machine.defaultInput = idOf(top, "defaultInput");
  machine.faults = faultsOf(top);
  const json* slow = member(top, "slowCalls");
  machine.slowCalls = slow != nullptr ? uint32Of(*slow).value_or(0) : 0;
  if (const json* pending = member(top, "pending"); pending != nullptr && pending->is_array()) {
    for (const json& entry : *pending) {
      if (auto change = pendingOf(entry)) machine.pending.push_back(std::move(*change));
    }
  }
  const json* devices = member(top, "devices");
  if (devices == nullptr || !devices->is_array()) return machine;
  for (const json& entry : *devices) {
    auto device = deviceOf(entry);
    if (device && machine.find(device->id) == nullptr) machine.devices.push_back(*device);
  }
  return machine;
}

void putFaults(json& object, const Faults& faults) {
  json fixed = json::array();
  json others = json::object();
  for (const auto& [name, fault] : faults) {
    if (fault == Fault::fixed) {
      fixed.push_back(name);
      continue;
    }
    for (const auto& [kind, kindName] : faultNames) {
      if (kind == fault) others[name] = kindName;
    }
  }
  if (!fixed.empty()) object["fixed"] = fixed;
  if (!others.empty()) object["faults"] = others;
}

json deviceJson(const Device& device) {
  json object = {{"id", device.id}};
  if (device.uid) object["uid"] = *device.uid;
  if (device.name) object["name"] = *device.name;
  if (device.output) object["output"] = *device.output;
  if (device.input) object["input"] = *device.input;
  if (device.rate) object["rate"] = *device.rate;
  if (device.rateRanges) {
    json ranges = json::array();
    for (const AudioValueRange& range : *device.rateRanges) {
      ranges.push_back(json::array({range.mMinimum, range.mMaximum}));
    }
    object["rateRanges"] = ranges;
  }
  if (device.layout) object["layout"] = base64Encode(*device.layout);
  if (!device.volume.empty()) {
    json volume = json::object();
    for (const auto& [element, scalar] : device.volume) {
      volume[std::to_string(element)] = static_cast<double>(scalar);
    }
    object["volume"] = volume;
  }
  if (device.volumeSteps != 0) object["volumeSteps"] = device.volumeSteps;
  if (!device.lag.empty()) object["lag"] = device.lag;
  putFaults(object, device.faults);
  return object;
}

}  // namespace

Machine machineFromText(std::string_view text) {
  try {
    const json top = json::parse(text, nullptr, false);
    if (top.is_object()) return machineOf(top);
  } catch (const json::exception&) {
  }
  return unreadableMachine();
}

Machine unreadableMachine() {
  Machine machine;
  machine.readable = false;
  machine.faults["devices"] = Fault::unreadable;
  return machine;
}

std::string machineText(const Machine& machine) {
  json top = json::object();
  if (machine.defaultOutput != kAudioObjectUnknown) top["defaultOutput"] = machine.defaultOutput;
  if (machine.defaultInput != kAudioObjectUnknown) top["defaultInput"] = machine.defaultInput;
  putFaults(top, machine.faults);
  if (machine.slowCalls != 0) top["slowCalls"] = machine.slowCalls;
  if (!machine.pending.empty()) {
    json& pending = top["pending"] = json::array();
    for (const Pending& change : machine.pending) {
      pending.push_back({{"object", change.object},
                         {"selector", change.selector},
                         {"element", change.element},
                         {"value", base64Encode(change.bytes)},
                         {"due", change.due}});
    }
  }
  json devices = json::array();
  for (const Device& device : machine.devices) devices.push_back(deviceJson(device));
  top["devices"] = devices;
  return top.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace orvel::sim
