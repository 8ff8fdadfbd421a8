#include "settings/settings_json.h"

#include <cmath>

#include "settings/json_text.h"

namespace orvel {
namespace {

using nlohmann::json;

// Each reader gives false when the member has the wrong type; a missing member
// or null leaves the field absent.
bool readText(const json& object, const char* key, std::optional<std::string>& field) {
  const auto it = object.find(key);
  if (it == object.end() || it->is_null()) return true;
  if (!it->is_string()) return false;
  field = it->get<std::string>();
  return true;
}

bool readNumber(const json& value, double& number) {
  if (!value.is_number()) return false;
  number = value.get<double>();
  return std::isfinite(number);  // 1e400 parses as infinity: not a 64-bit float
}

bool readRate(const json& object, std::optional<double>& field) {
  const auto it = object.find("rate");
  if (it == object.end() || it->is_null()) return true;
  double rate = 0;
  if (!readNumber(*it, rate)) return false;
  field = rate;
  return true;
}

bool readVolume(const json& object, std::optional<VolumeMap>& field) {
  const auto it = object.find("volume");
  if (it == object.end() || it->is_null()) return true;
  if (!it->is_object()) return false;
  VolumeMap volume;
  for (const auto& [key, value] : it->items()) {
    if (!readNumber(value, volume[key])) return false;
  }
  field = std::move(volume);
  return true;
}

std::optional<Side> readSide(const json& value) {
  if (!value.is_object()) return std::nullopt;
  const auto uid = value.find("uid");
  if (uid == value.end() || !uid->is_string()) return std::nullopt;
  Side side{.uid = uid->get<std::string>()};
  if (!readText(value, "name", side.name) || !readRate(value, side.rate) ||
      !readText(value, "layout", side.layout) || !readVolume(value, side.volume)) {
    return std::nullopt;
  }
  return side;
}

bool readSideMember(const json& object, const char* key, std::optional<Side>& field) {
  const auto it = object.find(key);
  if (it == object.end() || it->is_null()) return true;
  field = readSide(*it);
  return field.has_value();
}

bool readOthers(const json& object, std::optional<std::vector<Side>>& field) {
  const auto it = object.find("others");
  if (it == object.end() || it->is_null()) return true;
  if (!it->is_array()) return false;
  std::vector<Side> others;
  for (const auto& element : *it) {
    auto side = readSide(element);
    if (!side) return false;
    others.push_back(std::move(*side));
  }
  field = std::move(others);
  return true;
}

json sideJson(const Side& side) {
  json value = {{"uid", side.uid}};
  if (side.name) value["name"] = *side.name;
  if (side.rate) value["rate"] = *side.rate;
  if (side.layout) value["layout"] = *side.layout;
  if (side.volume) {
    value["volume"] = json::object();
    for (const auto& [key, scalar] : *side.volume) value["volume"][key] = scalar;
  }
  return value;
}

json settingsJson(const Settings& settings) {
  json value = json::object();
  if (settings.output) value["output"] = sideJson(*settings.output);
  if (settings.input) value["input"] = sideJson(*settings.input);
  if (settings.others) {
    value["others"] = json::array();
    for (const Side& side : *settings.others) value["others"].push_back(sideJson(side));
  }
  return value;
}

}  // namespace

std::optional<Settings> readSettings(std::string_view text) {
  const json value = json::parse(text.begin(), text.end(), nullptr, /*allow_exceptions=*/false);
  if (!value.is_object()) return std::nullopt;  // a parse error is discarded, not an object
  Settings settings;
  if (!readSideMember(value, "output", settings.output) ||
      !readSideMember(value, "input", settings.input) || !readOthers(value, settings.others)) {
    return std::nullopt;
  }
  return settings;
}

std::optional<std::string> writeSettings(const Settings& settings) {
  return jsonText(settingsJson(settings));
}

nlohmann::json encoded(const Settings& settings) {
  const auto text = writeSettings(settings);
  if (!text) return json::object();
  json value = json::parse(*text, nullptr, /*allow_exceptions=*/false);
  return value.is_object() ? value : json::object();
}

}  // namespace orvel
