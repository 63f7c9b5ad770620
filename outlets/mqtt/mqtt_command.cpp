#include "outlets/mqtt/mqtt_command.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "outlets/json_writer.hpp"
#include "platform/utf8.hpp"
#include "server/host_form.hpp"  // kScaleCount

namespace tarn {
namespace {

std::string TextOf(const nlohmann::json& object, const char* member) {
  const auto found = object.find(member);
  if (found == object.end()) return {};
  if (found->is_number_integer() || found->is_number_unsigned()) return found->dump();
  return found->is_string() ? found->get<std::string>() : std::string();
}

}  // namespace

MqttCommand CommandOf(std::string_view payload) {
  MqttCommand result;
  if (payload.size() > kLongestCommand) {
    result.error = "the message is too long";
    return result;
  }
  const auto json = nlohmann::json::parse(payload, nullptr, false);
  if (!json.is_object()) {
    result.error = R"(write {"command":"zero","id":"abc"})";
    return result;
  }
  result.id = Printable(TextOf(json, "id"));
  if (result.id.size() > kLongestCommandId) {
    result.id.clear();
    result.error = "the id has more than 64 characters";
    return result;
  }
  result.name = Printable(TextOf(json, "command"));
  const ScaleCommand* const command = FindCommandWord(result.name);
  if (command == nullptr) {
    result.name.resize(std::min(result.name.size(), kLongestCommandId));
    result.error = "there is no such command";
    return result;
  }
  if (command->command == OperatorCommand::PresetTare) {
    const auto tare = json.find("tare");
    const bool isNumber = tare != json.end() && tare->is_number();
    result.tare = isNumber ? tare->get<double>() : NAN;
    if (!std::isfinite(result.tare)) {
      result.tare = 0;
      result.error = R"(preset-tare needs the weight as a number: "tare":12.5)";
      return result;
    }
  }
  result.command = command;
  return result;
}

std::optional<int> CommandedScale(std::string_view root, std::string_view topic) {
  constexpr std::string_view kEnd = "/cmd";
  if (!topic.starts_with(root) || !topic.ends_with(kEnd)) return std::nullopt;
  topic.remove_prefix(root.size());
  if (topic.size() <= kEnd.size() || topic.front() != '/') return std::nullopt;
  topic.remove_suffix(kEnd.size());
  topic.remove_prefix(1);
  int scale = 0;
  const auto [end, error] = std::from_chars(topic.data(), topic.data() + topic.size(), scale);
  const bool whole = error == std::errc() && end == topic.data() + topic.size();
  // Another spelling, 03 for one, would be answered under another topic.
  if (!whole || scale < 1 || scale > kScaleCount || topic != std::to_string(scale)) {
    return std::nullopt;
  }
  return scale;
}

std::string AckJson(int scale, const MqttCommand& command, std::string_view result,
                    std::string_view error, std::string_view time) {
  std::string text;
  JsonWriter json(text);
  json.BeginObject().Member("scale", scale).Member("id", command.id);
  json.Member("command", command.name).Member("result", result).Member("error", error);
  json.Member("time", time).EndObject();
  return text;
}

}  // namespace tarn
