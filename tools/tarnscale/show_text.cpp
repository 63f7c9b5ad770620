#include "tools/tarnscale/show_text.hpp"

#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <vector>

#include "tools/tarnscale/class_names.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/scale_keys.hpp"

namespace tarn::tool {
namespace {

using Json = nlohmann::ordered_json;
using Place = ScaleKey::Place;

constexpr const char* kNotRestored = "cannot be restored from the file";

/// A slot that cannot be restored is shown too, so that the user learns of it.
std::vector<int> Shown(const ScaleFile& file, bool all) {
  std::vector<int> numbers;
  for (int number = 1; number <= kScaleCount; ++number) {
    const auto scale = file.At(number);
    if (all || !scale || IsConfigured(*scale, number)) numbers.push_back(number);
  }
  return numbers;
}

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

std::string ShowScaleText(const ScaleFile& file, int number) {
  const auto scale = file.At(number);
  if (!scale) return "scale " + std::to_string(number) + ": " + kNotRestored + "\n";
  std::string text = "scale " + std::to_string(number) + ": " + ConnectionText(*scale) + ", " +
                     ProtocolText(*scale) + "\n";
  for (const ScaleKey& key : ScaleKeys()) {
    if (!key.shown || !key.Fits(*scale)) continue;
    text += "  " + std::string(key.name) + "=" + ShellWord(Printable(ValueText(key.get(*scale)))) +
            "\n";
  }
  return text;
}

std::string ShowText(const ScaleFile& file, bool all) {
  std::string text;
  for (const int number : Shown(file, all)) text += ShowScaleText(file, number);
  if (!text.empty()) return text;
  return "no scale of '" + Printable(file.Name()) + "' is configured (--all shows all " +
         std::to_string(kScaleCount) + ")\n";
}

std::string ShowJson(const ScaleFile& file, bool all) {
  Json scales = Json::array();
  for (const int number : Shown(file, all)) {
    const auto scale = file.At(number);
    scales.push_back(scale ? ScaleJson(*scale, number)
                           : Json{{"scale", number}, {"error", kNotRestored}});
  }
  const Json json = {{"file", file.Name()}, {"scales", std::move(scales)}};
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace tarn::tool
