#include "engine/state_json.h"

#include <cmath>

#include "settings/json_text.h"

namespace orvel {
namespace {

using nlohmann::json;

constexpr const char* kindNames[] = {"default", "rate", "layout", "volume"};

json valueJson(const ItemValue& value) {
  return std::visit([](const auto& held) { return json(held); }, value);
}

std::optional<ItemKind> kindNamed(const std::string& name) {
  for (std::size_t k = 0; k < std::size(kindNames); ++k) {
    if (name == kindNames[k]) return static_cast<ItemKind>(k);
  }
  return std::nullopt;
}

bool finite(const json& number) {
  return number.is_number() && std::isfinite(number.get<double>());
}

// A value of the kind's type: text, a finite number, or an object of them.
std::optional<ItemValue> readValue(ItemKind kind, const json& value) {
  switch (kind) {
    case ItemKind::defaultDevice:
    case ItemKind::layout:
      if (value.is_string()) return value.get<std::string>();
      return std::nullopt;
    case ItemKind::rate:
      if (finite(value)) return value.get<double>();
      return std::nullopt;
    case ItemKind::volume: {
      if (!value.is_object()) return std::nullopt;
      VolumeMap volumes;
      for (const auto& [key, level] : value.items()) {
        if (!finite(level)) return std::nullopt;
        volumes[key] = level.get<double>();
      }
      return volumes;
    }
  }
  return std::nullopt;
}

// False when the member is there but not of the kind's type.
bool readMember(const json& object, const char* key, ItemKind kind,
                std::optional<ItemValue>& field) {
  const auto it = object.find(key);
  if (it == object.end()) return true;
  field = readValue(kind, *it);
  return field.has_value();
}

std::optional<std::string> text(const json& object, const char* key) {
  const auto it = object.find(key);
  if (it == object.end() || !it->is_string()) return std::nullopt;
  return it->get<std::string>();
}

std::optional<Item> readItem(const json& object) {
  if (!object.is_object()) return std::nullopt;
  const auto kindName = text(object, "kind");
  const auto kind = kindName ? kindNamed(*kindName) : std::nullopt;
  const auto uid = text(object, "uid");
  if (!kind || !uid) return std::nullopt;
  Item item{.kind = *kind, .uid = *uid, .name = text(object, "name")};
  if (const auto side = text(object, "side")) {
    if (*side != "output" && *side != "input") return std::nullopt;
    item.side = *side == "output" ? Direction::output : Direction::input;
  }
  if (*kind == ItemKind::defaultDevice && !item.side) return std::nullopt;
  if (!readMember(object, "user", *kind, item.user) ||
      !readMember(object, "asked", *kind, item.asked) ||
      !readMember(object, "readBack", *kind, item.readBack)) {
    return std::nullopt;
  }
  const auto earlier = object.find("earlier");
  if (earlier != object.end()) {
    if (!earlier->is_array()) return std::nullopt;
    for (const json& value : *earlier) {
      auto read = readValue(*kind, value);
      if (!read) return std::nullopt;
      item.earlier.push_back(std::move(*read));
    }
  }
  return item;
}

}  // namespace

std::optional<std::string> stateText(const SwitchState& state) {
  json items = json::array();
  for (const Item& item : state.items) {
    json object{{"kind", kindNames[static_cast<int>(item.kind)]}, {"uid", item.uid}};
    if (item.side) object["side"] = std::string(rawValue(*item.side));
    if (item.name) object["name"] = *item.name;
    if (item.user) object["user"] = valueJson(*item.user);
    if (item.asked) object["asked"] = valueJson(*item.asked);
    if (item.readBack) object["readBack"] = valueJson(*item.readBack);
    if (!item.earlier.empty()) {
      json& earlier = object["earlier"] = json::array();
      for (const ItemValue& value : item.earlier) earlier.push_back(valueJson(value));
    }
    items.push_back(std::move(object));
  }
  return jsonText({{"id", state.id}, {"time", state.time}, {"items", std::move(items)}});
}

std::optional<SwitchState> readState(std::string_view content) {
  const json value = json::parse(content, nullptr, false);
  if (!value.is_object()) return std::nullopt;
  const auto id = text(value, "id");
  const auto time = text(value, "time");
  const auto items = value.find("items");
  if (!id || !time || items == value.end() || !items->is_array()) return std::nullopt;
  SwitchState state{.id = *id, .time = *time};
  for (const json& object : *items) {
    auto item = readItem(object);
    if (!item) return std::nullopt;
    state.items.push_back(std::move(*item));
  }
  return state;
}

}  // namespace orvel
