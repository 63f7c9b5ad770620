#include "outlets/event_watch.hpp"

#include <memory>
#include <utility>

#include "outlets/variable_fields.hpp"
#include "shareddata/terminal_data.hpp"

namespace tarn {
namespace {

using Kind = ScaleEvent::Kind;

}  // namespace

EventWatch::EventWatch(TarnScaleServer& server, Selection selection, WallClock clock, Sink sink)
    : clock_(std::move(clock)), sink_(std::move(sink)), server_(server), selection_(selection) {
  for (std::int16_t number = 1; number <= kScaleCount; ++number) Watch(number);
  subscriptions_.push_back(
      server.ScaleReplaced.Subscribe([this](std::int16_t number) { Watch(number); }));
  if (selection.readingsOnly) return;
  subscriptions_.push_back(
      server.InfoMessage.Subscribe([this](const std::string& message, std::int32_t style) {
        ScaleEvent event;
        event.kind = Kind::InfoMessage;
        event.time = clock_();
        event.message = message;
        event.style = style;
        sink_(event);
      }));
}

/// In place of the former scale of that number. Only a scale that exists raises events, so the
/// handlers may refer to it.
void EventWatch::Watch(std::int16_t number) {
  Subscriptions& subscriptions = ofScale_[static_cast<std::size_t>(number - 1)];
  subscriptions.clear();
  const auto watched = server_.GetScale(number);
  if (!watched) return;
  TarnScale& scale = *watched;
  const auto onReading = [&, this](auto& event, Kind kind) {
    subscriptions.push_back(event.Subscribe([this, &scale, kind] { TellReading(kind, scale); }));
  };
  onReading(scale.WeightData()->NewWeight, Kind::NewWeight);
  if (selection_.updates) onReading(scale.UpdateWeight, Kind::UpdateWeight);
  WatchRecord(scale, subscriptions);
  WatchVariables(scale, subscriptions);
  subscriptions.push_back(
      scale.Condition()->Changed.Subscribe([this, &scale] { TellCondition(scale); }));
  subscriptions.push_back(
      scale.PrintData()->NewWeight.Subscribe([this, &scale] { TellPrint(scale); }));
  if (selection_.readingsOnly) return;
  onReading(scale.WeightData()->StatusChange, Kind::StatusChange);
  subscriptions.push_back(
      scale.NewStatus.Subscribe([this, &scale] { TellStatus(Kind::NewStatus, scale); }));
  subscriptions.push_back(scale.ScaleConfigurationChange.Subscribe(
      [this, &scale] { TellStatus(Kind::ScaleConfigurationChange, scale); }));
}

void EventWatch::WatchRecord(TarnScale& scale, Subscriptions& subscriptions) {
  const auto record = scale.TarnRecordTemplateData();
  subscriptions.push_back(record->NewDataReady.Subscribe([this, &scale] { TellRecord(scale); }));
  subscriptions.push_back(record->TimeoutError.Subscribe(
      [this, &scale] { sink_(EventOf(Kind::TimeoutError, scale)); }));
}

/// A round may come several times a second, so only what has changed is printed.
void EventWatch::WatchVariables(TarnScale& scale, Subscriptions& subscriptions) {
  const auto data = std::dynamic_pointer_cast<TerminalData>(scale.SummitData());
  if (!data) return;
  const auto former = std::make_shared<std::vector<Field>>(VariablesOf(scale));
  subscriptions.push_back(
      data->NewDataReady.Subscribe([this, &scale, former] { TellVariables(scale, *former); }));
  subscriptions.push_back(data->CommLossErrorEvent.Subscribe(
      [this, &scale] { sink_(EventOf(Kind::CommLossError, scale)); }));
}

ScaleEvent EventWatch::EventOf(Kind kind, const TarnScale& scale) const {
  ScaleEvent event;
  event.kind = kind;
  event.time = clock_();
  event.scale = scale.ScaleNumber();
  event.alias = scale.AliasName();
  return event;
}

void EventWatch::TellReading(Kind kind, const TarnScale& scale) {
  ScaleEvent event = EventOf(kind, scale);
  event.reading = ReadingOf(scale);
  sink_(event);
}

void EventWatch::TellPrint(const TarnScale& scale) {
  ScaleEvent event = EventOf(Kind::PrintRecord, scale);
  event.reading = ReadingOf(*scale.PrintData());
  event.origin = scale.PrintData()->Origin();
  sink_(event);
}

void EventWatch::ReportCondition(std::int16_t number) {
  if (const auto scale = server_.GetScale(number)) TellCondition(*scale);
}

void EventWatch::TellCondition(const TarnScale& scale) {
  ScaleEvent event = EventOf(Kind::Condition, scale);
  event.reading = ReadingOf(scale);
  event.readingsPerSecond = scale.Condition()->Present().readingsPerSecond;
  event.counters = scale.Condition()->Counters(false);
  event.lastError = scale.Condition()->Line()->LastError();
  sink_(event);
}

void EventWatch::TellRecord(const TarnScale& scale) {
  ScaleEvent event = EventOf(Kind::NewDataReady, scale);
  event.fields = FieldsOf(*scale.TarnRecordTemplateData());
  sink_(event);
}

void EventWatch::TellVariables(const TarnScale& scale, std::vector<Field>& former) {
  ScaleEvent event = EventOf(Kind::Variables, scale);
  auto fields = VariablesOf(scale);
  event.fields = ChangedFields(former, fields);
  former = std::move(fields);
  if (!event.fields.empty()) sink_(event);
}

void EventWatch::TellStatus(Kind kind, const TarnScale& scale) {
  ScaleEvent event = EventOf(kind, scale);
  event.activityLed = scale.ActivityLED();
  event.errorLed = scale.ErrorLED();
  sink_(event);
}

std::vector<ScaleEvent> FailureEvents(const std::vector<StartFailure>& failures, WallTime time) {
  std::vector<ScaleEvent> events;
  for (const StartFailure& failure : failures) {
    ScaleEvent event;
    event.kind = Kind::StartFailure;
    event.time = time;
    event.scale = failure.number;
    event.alias = failure.alias;
    event.message = failure.reason;
    if (failure.isRetried) event.message += "; next try in 1 s";
    events.push_back(std::move(event));
  }
  return events;
}

}  // namespace tarn
