#include "outlets/scale_state.hpp"

#include <chrono>
#include <cstdint>

#include "base/number_text.hpp"
#include "outlets/variable_fields.hpp"

namespace tarn {
namespace {

/// A template scale has no weights but records, a diagnosed one variables.
std::optional<std::vector<Field>> LatestFields(const TarnScale& scale) {
  const auto protocol = scale.Protocol();
  if (!protocol) return std::nullopt;
  if (protocol->ReadingsComeByHand()) return FieldsOf(*scale.TarnRecordTemplateData());
  auto variables = VariablesOf(scale);
  if (variables.empty()) return std::nullopt;
  return variables;
}

void WriteNumber(JsonWriter& json, std::string_view name, const std::string& text) {
  json.Key(name);
  if (const auto number = ShownNumber(text))
    json.Value(*number);
  else
    json.Null();
}

}  // namespace

std::string NewAlias(int number) {
  return "Scale" + std::to_string(number);
}

bool IsConfigured(const TarnScale& scale, int number) {
  const std::string& alias = scale.AliasName();
  const bool isNamed = alias != "Scale x" && alias != NewAlias(number);
  const auto connection = scale.Connection();
  const auto protocol = scale.Protocol();
  return isNamed || !scale.Disabled() || scale.UpdateRate() != 10 ||
         scale.ActivityTimeoutTime() != 0 ||
         (connection && connection->Ctype() != ConnectionType::none) ||
         (protocol && protocol->pType() != ProtocolType::NoProtType);
}

bool KeepsWeight(const TarnScale& scale) {
  const auto protocol = scale.Protocol();
  return protocol && protocol->ReadingsEndWithNoData() &&
         (scale.ActivityLED() || !scale.ErrorLED());
}

ScaleState StateOf(const TarnScale& scale, WallTime now) {
  ScaleState state;
  state.scale = scale.ScaleNumber();
  state.alias = scale.AliasName();
  state.enabled = !scale.Disabled();
  state.reading = ReadingOf(scale);
  state.time = now;
  if (const auto age = state.reading.age) {
    state.time -= std::chrono::milliseconds(static_cast<std::int64_t>(*age));
  }
  state.readingsPerSecond = scale.Condition()->Present().readingsPerSecond;
  state.counters = scale.Condition()->Counters(false);
  state.lastError = scale.Condition()->Line()->LastError();
  state.fields = LatestFields(scale);
  return state;
}

std::optional<double> ShownNumber(const std::string& text) {
  const auto number = LocaleNumber(text, ".");
  return number ? number : LocaleNumber(text, ",");
}

void WriteFields(JsonWriter& json, const std::vector<Field>& fields) {
  json.Key("fields").BeginArray();
  for (const Field& field : fields) {
    json.BeginObject();
    json.Member("name", field.name);
    json.Member("value", field.value);
    json.EndObject();
  }
  json.EndArray();
}

void WriteReading(JsonWriter& json, const Reading& reading) {
  WriteNumber(json, "gross", reading.gross);
  WriteNumber(json, "tare", reading.tare);
  WriteNumber(json, "net", reading.net);
  json.Member("grossText", reading.gross);
  json.Member("tareText", reading.tare);
  json.Member("netText", reading.net);
  json.Member("unit", reading.units);
}

void WriteWeight(JsonWriter& json, const ScaleState& state) {
  const Reading& reading = state.reading;
  json.BeginObject();
  json.Member("scale", state.scale).Member("alias", state.alias);
  json.Member("time", UtcText(state.time));
  json.Key("ageMs");
  if (reading.age)
    json.Value(static_cast<std::int64_t>(*reading.age));
  else
    json.Null();
  json.Member("quality", reading.quality ? QualityName(*reading.quality) : "off");
  json.Member("reason", reading.conditionWords);
  WriteReading(json, reading);
  json.Member("stable", !reading.motion).Member("centerOfZero", reading.atZero);
  json.Member("outOfRange", reading.outOfRange).Member("netMode", reading.inNetMode);
  json.Member("enabled", state.enabled);
  if (state.fields) WriteFields(json, *state.fields);
  json.EndObject();
}

std::string WeightJson(const ScaleState& state) {
  std::string text;
  JsonWriter json(text);
  WriteWeight(json, state);
  return text;
}

}  // namespace tarn
