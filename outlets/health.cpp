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
  faultSince_.fill(-1);
}

/// A scale that is disabled on purpose is not at fault; its time begins when it is enabled.
void HealthWatch::HandleEvent(const ScaleEvent& event) {
  const auto scale = static_cast<std::size_t>(event.scale);
  if (event.kind != ScaleEvent::Kind::Condition || scale >= faultSince_.size()) return;
  const bool isDisabled = event.reading.reason == ReasonName(ConditionReason::Disabled);
  Note(scale, !isDisabled && !IsGood(event.reading));
}

void HealthWatch::Note(std::size_t scale, bool isAtFault) {
  double& since = faultSince_.at(scale);
  if (!isAtFault)
    since = -1;
  else if (since < 0)
    since = loop_.Now();
}

/// What is seen here counts like an event: a scale may be replaced by a new one without any.
std::vector<HealthWatch::Fault> HealthWatch::Faults() {
  std::vector<Fault> faults;
  for (std::size_t scale = 1; scale < faultSince_.size(); ++scale) {
    auto state = source_.State(static_cast<int>(scale));
    const bool isAtFault = state && state->enabled && !IsGood(state->reading);
    Note(scale, isAtFault);
    if (isAtFault) faults.push_back({std::move(*state), loop_.Now() - faultSince_.at(scale)});
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
