// Events as JSON, written and read.
#include <cstdint>
#include <nlohmann/json.hpp>

#include "outlets/json_writer.hpp"
#include "outlets/scale_event.hpp"
#include "outlets/scale_state.hpp"

namespace tarn {
namespace {

using Json = nlohmann::ordered_json;
using Kind = ScaleEvent::Kind;

/// The members of a reading as programs know them. Reading and writing share the list.
template <class SomeReading, class Visit>
void VisitWeights(SomeReading& reading, Visit visit) {
  visit("gross", reading.gross);
  visit("tare", reading.tare);
  visit("net", reading.net);
  visit("units", reading.units);
  visit("grossValue", reading.grossValue);
  visit("tareValue", reading.tareValue);
  visit("netValue", reading.netValue);
}

template <class SomeReading, class Visit>
void VisitFlags(SomeReading& reading, Visit visit) {
  visit("motion", reading.motion);
  visit("atZero", reading.atZero);
  visit("outOfRange", reading.outOfRange);
  visit("inNetMode", reading.inNetMode);
  visit("noDataError", reading.noData);
}

/// With the words for people, since they say what to do; the word for programs is beside them.
void AddCondition(JsonWriter& json, const Reading& reading) {
  if (!reading.quality) return;
  json.Member("quality", QualityName(*reading.quality));
  json.Member("reason", reading.conditionWords).Member("reasonCode", reading.reason);
  json.Key("ageMs");
  if (reading.age)
    json.Value(static_cast<std::int64_t>(*reading.age));
  else
    json.Null();
}

void AddCounters(JsonWriter& json, const ScaleEvent& event) {
  json.Member("readingsPerSecond", event.readingsPerSecond);
  json.Key("counters").BeginObject();
  for (const LineCounterRow& row : kLineCounters) json.Member(row.name, event.counters.*row.member);
  json.EndObject().Member("lastError", event.lastError);
}

/// Without a condition, where the program that wrote the line did not know it.
void TakeCondition(const Json& json, ScaleEvent& event) {
  Reading& reading = event.reading;
  reading.quality = QualityNamed(json.value("quality", std::string()));
  reading.conditionWords = json.value("reason", std::string());
  reading.reason = json.value("reasonCode", std::string());
  if (const auto age = json.find("ageMs"); age != json.end() && age->is_number()) {
    reading.age = age->get<double>();
  }
  event.readingsPerSecond = json.value("readingsPerSecond", 0.0);
  event.lastError = json.value("lastError", std::string());
  const Json counters = json.value("counters", Json::object());
  for (const LineCounterRow& row : kLineCounters) {
    event.counters.*row.member = counters.value(std::string(row.name), std::uint64_t{0});
  }
}

}  // namespace

std::string EventJson(const ScaleEvent& event) {
  std::string text;
  text.reserve(512);
  JsonWriter json(text);
  json.BeginObject().Member("time", UtcText(event.time)).Member("event", EventName(event.kind));
  if (event.scale != 0) json.Member("scale", event.scale).Member("alias", event.alias);
  const auto add = [&json](const char* name, const auto& value) { json.Member(name, value); };
  if (event.HasWeights()) VisitWeights(event.reading, add);
  if (event.HasWeights() && event.kind != Kind::PrintRecord) VisitFlags(event.reading, add);
  if (event.HasWeights()) json.Member("valid", IsValidWeight(event.reading));
  if (event.kind == Kind::PrintRecord) json.Member("origin", PrintOriginName(event.origin));
  if (event.kind != Kind::PrintRecord) AddCondition(json, event.reading);
  if (event.kind == Kind::Condition) AddCounters(json, event);
  if (event.kind == Kind::NewDataReady || event.kind == Kind::Variables) {
    WriteFields(json, event.fields);
  }
  if (event.kind == Kind::NewStatus) {
    json.Member("activityLED", event.activityLed).Member("errorLED", event.errorLed);
  }
  if (!event.message.empty()) json.Member("message", event.message);
  if (event.kind == Kind::InfoMessage) json.Member("style", event.style);
  if (event.kind == Kind::Lost) {
    json.Member("readings", event.lostReadings).Member("events", event.lostEvents);
  }
  json.EndObject();
  return text;
}

std::optional<ScaleEvent> EventOfJson(std::string_view line) {
  const Json json = Json::parse(line, nullptr, false);
  if (!json.is_object()) return std::nullopt;
  const auto take = [&json](const char* name, auto& value) { value = json.value(name, value); };
  ScaleEvent event;
  try {
    std::string name;
    take("event", name);
    const auto kind = KindOf(name);
    if (!kind) return std::nullopt;
    event.kind = *kind;
    take("scale", event.scale);
    take("alias", event.alias);
    VisitWeights(event.reading, take);
    VisitFlags(event.reading, take);
    TakeCondition(json, event);
    const auto origin = PrintOriginNamed(json.value("origin", std::string()));
    event.origin = origin.value_or(PrintOrigin::Terminal);
    take("activityLED", event.activityLed);
    take("errorLED", event.errorLed);
    take("message", event.message);
    take("style", event.style);
    take("readings", event.lostReadings);
    take("events", event.lostEvents);
    for (const Json& field : json.value("fields", Json::array())) {
      event.fields.push_back({field.at("name"), field.at("value")});
    }
  } catch (const Json::exception&) {
    return std::nullopt;
  }
  return event;
}

}  // namespace tarn
