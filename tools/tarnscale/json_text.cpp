// What tarnscale writes and reads as JSON. Only this file knows the JSON library.
#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <vector>

#include "tools/tarnscale/scale_event.hpp"
#include "tools/tarnscale/scale_keys.hpp"
#include "tools/tarnscale/show_text.hpp"

namespace tarn::tool {
namespace {

using Json = nlohmann::ordered_json;
using Kind = ScaleEvent::Kind;
using Place = ScaleKey::Place;

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
void AddCondition(Json& json, const Reading& reading) {
  if (!reading.quality) return;
  json["quality"] = QualityName(*reading.quality);
  json["reason"] = reading.conditionWords;
  json["reasonCode"] = reading.reason;
  json["ageMs"] = reading.age ? Json(static_cast<std::int64_t>(*reading.age)) : Json();
}

void AddCounters(Json& json, const ScaleEvent& event) {
  json["readingsPerSecond"] = event.readingsPerSecond;
  for (const LineCounterRow& row : kLineCounters) {
    json["counters"][std::string(row.name)] = event.counters.*row.member;
  }
  json["lastError"] = event.lastError;
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

/// In the order of the record; names may occur twice.
void AddFields(Json& json, const ScaleEvent& event) {
  json["fields"] = Json::array();
  for (const Field& field : event.fields) {
    json["fields"].push_back({{"name", field.name}, {"value", field.value}});
  }
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

std::string EventJson(const ScaleEvent& event) {
  Json json = {{"time", UtcText(event.time)}, {"event", EventName(event.kind)}};
  if (event.scale != 0) {
    json["scale"] = event.scale;
    json["alias"] = event.alias;
  }
  const auto add = [&json](const char* name, const auto& value) { json[name] = value; };
  if (event.HasWeights()) VisitWeights(event.reading, add);
  if (event.HasWeights() && event.kind != Kind::PrintRecord) VisitFlags(event.reading, add);
  if (event.HasWeights()) json["valid"] = IsValidWeight(event.reading);
  if (event.kind == Kind::PrintRecord) json["origin"] = PrintOriginName(event.origin);
  if (event.kind != Kind::PrintRecord) AddCondition(json, event.reading);
  if (event.kind == Kind::Condition) AddCounters(json, event);
  if (event.kind == Kind::NewDataReady || event.kind == Kind::Variables) AddFields(json, event);
  if (event.kind == Kind::NewStatus) {
    json["activityLED"] = event.activityLed;
    json["errorLED"] = event.errorLed;
  }
  if (!event.message.empty()) json["message"] = event.message;
  if (event.kind == Kind::InfoMessage) json["style"] = event.style;
  if (event.kind == Kind::Lost) {
    json["readings"] = event.lostReadings;
    json["events"] = event.lostEvents;
  }
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
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
