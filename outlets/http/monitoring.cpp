#include "outlets/http/monitoring.hpp"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace tarn::http {

TimerDelay::TimerDelay(MessageLoop& loop)
    : loop_(loop), timer_(loop.CreateTimer()), tickAt_(loop.Now()) {
  onTick_ = timer_->Tick.Subscribe([this] { HandleTick(); });
  timer_->Interval(kInterval);
  timer_->Enabled(true);
}

void TimerDelay::HandleTick() {
  const double now = loop_.Now();
  latest_ = std::max(now - tickAt_ - kInterval, 0.0);
  tickAt_ = now;
  longest_ = std::max(longest_, latest_);
  if (++ticks_ < kTicksOfMinute) return;
  ticks_ = 0;
  longestBefore_ = std::exchange(longest_, 0);
}

double TimerDelay::Longest() const {
  return std::max(longest_, longestBefore_);
}

Monitoring::Monitoring(Api& api, Parts parts)
    : api_(api),
      parts_(std::move(parts)),
      health_(parts_.loop, parts_.source),
      delay_(parts_.loop),
      onEntered_(parts_.book.Entered.Subscribe([this](const Weighing& weighing) {
        ++weighings_.at(static_cast<std::size_t>(weighing.scale)).kept;
      })),
      onRefused_(parts_.book.Refused.Subscribe([this](const ScaleEvent& event, const std::string&) {
        ++weighings_.at(static_cast<std::size_t>(event.scale)).refused;
      })) {
  const auto add = [&api](const char* path, Api::Access access, auto reply) {
    api.Add({.method = "GET",
             .path = path,
             .access = access,
             .handler = [reply](const Request&, const Answer& answer) { answer(reply()); }});
  };
  add("/metrics", Api::Access::Reader, [this] { return MetricsReply(); });
  add("/health", Api::Access::Reader, [this] { return HealthReply(); });
  add("/live", Api::Access::Anybody, [this] { return LiveReply(); });
}

Reply Monitoring::MetricsReply() const {
  std::vector<ScaleFigures> scales;
  for (const int scale : parts_.source.Scales()) {
    if (auto state = parts_.source.State(scale))
      scales.push_back({std::move(*state), weighings_.at(static_cast<std::size_t>(scale))});
  }
  return {.body = MetricsText(scales, {.version = parts_.version,
                                       .connections = parts_.connections(),
                                       .eventReaders = api_.Streams().Readers(),
                                       .timerDelay = delay_.Longest(),
                                       .process = PresentProcessFacts()}),
          .contentType = kMetricsType};
}

Reply Monitoring::HealthReply() {
  const auto faults = health_.Faults();
  return {.status = IsHealthy(faults, parts_.healthGrace) ? 200 : 503,
          .body = HealthJson(faults, parts_.healthGrace)};
}

/// An answer alone says that the loop turns.
Reply Monitoring::LiveReply() const {
  Reply reply;
  JsonWriter json(reply.body);
  json.BeginObject().Member("status", "ok").Member("timerDelayMs", std::round(delay_.Latest()));
  json.Member("longestTimerDelayMs", std::round(delay_.Longest())).EndObject();
  return reply;
}

}  // namespace tarn::http
