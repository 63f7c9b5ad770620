// Settings as JSON.
#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <vector>

#include "tools/tarnscale/scale_keys.hpp"
#include "tools/tarnscale/show_text.hpp"

namespace tarn::tool {
namespace {

using Json = nlohmann::ordered_json;
using Place = ScaleKey::Place;

/// A whole number without a point: 9600, not 9600.0.
Json JsonValue(const KeyValue& value) {
  if (const double* number = std::get_if<double>(&value);
      number && *number == std::trunc(*number)) {
    return static_cast<std::int64_t>(*number);
  }
  return std::visit([](const auto& plain) { return Json(plain); }, value);
}

Json ScaleJson(const TarnScale& scale, int number) {
  Json json = {{"scale", number}};
  Json connection = {{"class", scale.Connection()->ClassName()}};
  Json protocol = {{"class", scale.Protocol()->ClassName()}};
  for (const ScaleKey& key : ScaleKeys()) {
    if (!key.shown || !key.Fits(scale)) continue;
    // These two keys are the objects themselves.
    if (key.name == "connection" || key.name == "protocol") continue;
    const bool ofProtocol = key.place == Place::Protocol || key.place == Place::Configuration;
    Json& object = key.place == Place::Connection ? connection : ofProtocol ? protocol : json;
    object[std::string(key.name)] = JsonValue(key.get(scale));
  }
  json["connection"] = std::move(connection);
  json["protocol"] = std::move(protocol);
  return json;
}

}  // namespace

std::string ShowJson(const ScaleFile& file, bool all, int only) {
  Json scales = Json::array();
  for (const int number : only > 0 ? std::vector{only} : ShownScales(file, all)) {
    const auto scale = file.At(number);
    scales.push_back(scale ? ScaleJson(*scale, number)
                           : Json{{"scale", number}, {"error", kNotRestored}});
  }
  const Json json = {{"file", file.Name()}, {"scales", std::move(scales)}};
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace tarn::tool
