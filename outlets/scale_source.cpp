#include "outlets/scale_source.hpp"

#include <cstdint>
#include <exception>
#include <utility>

#include "server/tarn_scale_server.hpp"

namespace tarn {
namespace {

using Status = CommandResult::Status;

}  // namespace

ServerSource::ServerSource(TarnScaleServer& server, WallClock clock)
    : server_(server),
      clock_(clock),
      watch_(server, {}, std::move(clock), [this](const auto& event) { Pass(event); }),
      onReplaced_(server.ScaleReplaced.Subscribe([this](std::int16_t number) {
        kept_.erase(number);
        // One that is disabled now never raises an event, and whoever shows the scale would go on
        // to show the last weight of its predecessor as a live one.
        watch_.ReportCondition(number);
      })) {}

void ServerSource::Pass(const ScaleEvent& event) {
  if (event.kind == ScaleEvent::Kind::NewWeight && event.reading.net != kNoDataText) {
    if (const auto scale = At(event.scale); scale && KeepsWeight(*scale))
      kept_.insert_or_assign(event.scale, event.reading);
  }
  Happened.Raise(event);
}

std::vector<int> ServerSource::Scales() const {
  std::vector<int> numbers;
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    const auto scale = server_.GetScale(number);
    if (scale && IsConfigured(*scale, number)) numbers.push_back(number);
  }
  return numbers;
}

std::shared_ptr<TarnScale> ServerSource::At(int number) const {
  const bool isNumber = number >= 1 && number <= kScaleCount;
  return isNumber ? server_.GetScale(static_cast<std::int16_t>(number)) : nullptr;
}

std::optional<ScaleState> ServerSource::State(int number) const {
  const auto scale = At(number);
  if (!scale || !IsConfigured(*scale, number)) return std::nullopt;
  ScaleState state = StateOf(*scale, clock_());
  const auto kept = kept_.find(number);
  if (kept != kept_.end() && KeepsWeight(*scale)) {
    const Reading present = std::exchange(state.reading, kept->second);
    state.reading.noData = false;
    state.reading.quality = present.quality;
    state.reading.reason = present.reason;
    state.reading.conditionWords = present.conditionWords;
    state.reading.age = present.age;
  }
  return state;
}

std::string ServerSource::LatestBytes(int number) const {
  const auto scale = At(number);
  return scale ? scale->Condition()->Line()->Latest(LineRecord::kRecent) : std::string();
}

void ServerSource::Give(int number, const ScaleCommand& command, double tare, const OnDone& done) {
  const auto scale = At(number);
  if (!scale) return done({Status::NoScale, "there is no such scale"});
  if (std::string why = CommandHindrance(*scale, command); !why.empty()) {
    return done({Status::Refused, std::move(why)});
  }
  CommandResult result;
  try {
    GiveCommand(*scale, command, tare);
  } catch (const std::exception& error) {
    result = {Status::Failed, error.what()};
  }
  done(result);
}

}  // namespace tarn
