#include "outlets/mqtt/home_assistant.hpp"

#include <algorithm>
#include <array>

namespace tarn {
namespace {

/// The units that Home Assistant takes for a weight, under its names.
constexpr std::array<std::string_view, 6> kKnownUnits = {"kg", "g", "mg", "oz", "lb", "st"};

std::string DeviceId(std::string_view root, int scale) {
  std::string id;
  for (const char c : root) {
    const bool plain =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
    id += plain ? c : '_';
  }
  return id + "_" + std::to_string(scale);
}

}  // namespace

std::string DiscoveryTopic(std::string_view root, int scale) {
  return "homeassistant/sensor/" + DeviceId(root, scale) + "/weight/config";
}

MqttMessage DiscoveryOf(std::string_view root, const ScaleState& state) {
  const std::string base(root);
  const std::string weight = base + "/" + std::to_string(state.scale) + "/weight";
  const std::string id = DeviceId(root, state.scale);
  const std::string& unit = state.reading.units;

  MqttMessage message{.topic = DiscoveryTopic(root, state.scale), .payload = {}, .retained = true};
  JsonWriter json(message.payload);
  json.BeginObject().Member("name", "Weight").Member("unique_id", id + "_weight");
  json.Member("state_topic", weight).Member("value_template", "{{ value_json.net }}");
  json.Member("json_attributes_topic", weight).Member("state_class", "measurement");
  if (!unit.empty()) json.Member("unit_of_measurement", unit);
  if (std::ranges::find(kKnownUnits, unit) != kKnownUnits.end())
    json.Member("device_class", "weight");
  json.Member("availability_mode", "all").Key("availability").BeginArray();
  json.BeginObject().Member("topic", base + "/state").EndObject();
  json.BeginObject().Member("topic", weight);
  json.Member("value_template", "{{ 'online' if value_json.quality == 'good' else 'offline' }}");
  json.EndObject().EndArray();
  json.Key("device").BeginObject();
  json.Key("identifiers").BeginArray().Value(id).EndArray();
  json.Member("name", state.alias).Member("model", "Scale");
  json.EndObject().EndObject();
  return message;
}

}  // namespace tarn
