#include "outlets/health.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace tarn {
namespace {

constexpr double kSecond = 1000;

bool IsGood(const Reading& reading) {
  return reading.quality == Quality::Good;
}

}  // namespace

HealthWatch::HealthWatch(MessageLoop& loop, ScaleSource& source)
    : loop_(loop),
      source_(source),
      onEvent_(source.Happened.Subscribe([this](const ScaleEvent& event) { HandleEvent(event); })) {
  notGoodSince_.fill(loop.Now());
}

/// A scale that is disabled on purpose is not at fault; its time begins when it is enabled.
void HealthWatch::HandleEvent(const ScaleEvent& event) {
  const auto index = static_cast<std::size_t>(event.scale);
  if (event.kind != ScaleEvent::Kind::Condition || index >= notGoodSince_.size()) return;
  double& since = notGoodSince_[index];
  if (IsGood(event.reading) || event.reading.reason == ReasonName(ConditionReason::Disabled))
    since = -1;
  else if (since < 0)
    since = loop_.Now();
}

std::vector<HealthWatch::Fault> HealthWatch::Faults() const {
  std::vector<Fault> faults;
  for (const int scale : source_.Scales()) {
    auto state = source_.State(scale);
    if (!state || !state->enabled || IsGood(state->reading)) continue;
    // The event of a fault that has only just begun may be still to come.
    const double since = notGoodSince_.at(static_cast<std::size_t>(scale));
    faults.push_back({std::move(*state), since < 0 ? 0 : loop_.Now() - since});
  }
  return faults;
}

bool IsHealthy(const std::vector<HealthWatch::Fault>& faults, double grace) {
  return std::all_of(faults.begin(), faults.end(),
                     [grace](const HealthWatch::Fault& fault) { return fault.since < grace; });
}

std::string HealthJson(const std::vector<HealthWatch::Fault>& faults, double grace) {
  std::string text;
  JsonWriter json(text);
  json.BeginObject().Member("status", IsHealthy(faults, grace) ? "healthy" : "unhealthy");
  json.Member("graceSeconds", grace / kSecond).Key("scales").BeginArray();
  for (const auto& [state, since] : faults) {
    json.BeginObject().Member("scale", state.scale).Member("alias", state.alias);
    const auto quality = state.reading.quality.value_or(Quality::Off);
    json.Member("quality", QualityName(quality));
    json.Member("reason", state.reading.conditionWords);
    json.Member("reasonCode", state.reading.reason);
    json.Member("sinceSeconds", std::round(since) / kSecond).EndObject();
  }
  json.EndArray().EndObject();
  return text;
}

}  // namespace tarn
