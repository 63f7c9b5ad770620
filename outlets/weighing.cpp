#include "outlets/weighing.hpp"

#include <algorithm>
#include <utility>

#include "outlets/scale_state.hpp"

namespace tarn {

std::optional<Weighing> WeighingOf(const ScaleEvent& event) {
  const bool isRecord = event.kind == ScaleEvent::Kind::NewDataReady;
  if (!isRecord && event.kind != ScaleEvent::Kind::PrintRecord) return std::nullopt;
  return Weighing{.time = event.time,
                  .scale = event.scale,
                  .alias = event.alias,
                  .reading = event.reading,
                  .fields = event.fields,
                  .origin = event.origin};
}

void WriteWeighing(JsonWriter& json, const Weighing& weighing) {
  json.BeginObject().Member("number", weighing.number);
  json.Member("time", UtcText(weighing.time));
  json.Member("scale", weighing.scale).Member("alias", weighing.alias);
  WriteReading(json, weighing.reading);
  json.Member("origin", PrintOriginName(weighing.origin));
  if (!weighing.fields.empty()) WriteFields(json, weighing.fields);
  json.EndObject();
}

std::string WeighingJson(const Weighing& weighing) {
  std::string text;
  JsonWriter json(text);
  WriteWeighing(json, weighing);
  return text;
}

void RecentWeighings::Enter(const ScaleEvent& event) {
  auto weighing = WeighingOf(event);
  if (!weighing) return;
  weighing->number = ++latest_;
  weighings_.push_back(*weighing);
  if (weighings_.size() > kMost) weighings_.pop_front();
  Entered.Raise(*weighing);
}

void RecentWeighings::Fetch(std::uint64_t after, std::size_t most, OnFetched fetched) const {
  const auto first = std::find_if(weighings_.begin(), weighings_.end(),
                                  [after](const Weighing& w) { return w.number > after; });
  const auto count = std::min(most, static_cast<std::size_t>(weighings_.end() - first));
  fetched({first, first + static_cast<std::ptrdiff_t>(count)});
}

}  // namespace tarn
