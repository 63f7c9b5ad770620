#include "connections/reconnector.hpp"

#include <algorithm>
#include <utility>

#include "platform/attempt.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn {

std::shared_ptr<LineRecord> RecordOf(const ScalePart& connection) {
  const auto scale = connection.ServedScale();
  return scale ? scale->Condition()->Line() : nullptr;
}

Reconnector::Reconnector(Host& host, const ScalePart& connection, std::function<void()> connect,
                         std::function<std::string()> device)
    : host_(host),
      connection_(connection),
      connect_(std::move(connect)),
      device_(std::move(device)) {}

std::string Reconnector::Name() const {
  const auto scale = connection_.ServedScale();
  return (scale ? "Scale " + std::to_string(scale->ScaleNumber()) : "No scale") + ", " + device_();
}

void Reconnector::Trace(const std::string& what) const {
  host_.Trace(Name() + ": " + what);
  if (const auto record = RecordOf(connection_)) record->Failed(what);
}

LinkState Reconnector::Link() const {
  LinkState link{.known = true};
  if (!broken_) return link;
  link.fault = why_;
  link.retryAt = enabled_ ? retryAt_ : -1;
  return link;
}

void Reconnector::Enabled(bool enabled) {
  enabled_ = enabled;
  Schedule();
}

void Reconnector::Wanted(bool wanted) {
  wanted_ = wanted;
  broken_ = false;
  Restored();
}

/// A port that is missing while it is tried again is one that went away.
void Reconnector::Broken(ConditionReason why) {
  const bool stillGone = broken_ && why == ConditionReason::PortMissing;
  if (!stillGone) why_ = why;
  broken_ = true;
  Schedule();
}

void Reconnector::Restored() {
  const bool wasBroken = std::exchange(broken_, false);
  if (wasBroken) {
    if (const auto record = RecordOf(connection_)) ++record->total.reopenings;
    if (enabled_) host_.Trace(Name() + ": connected again");
  }
  pause_ = kFirstPause;
  Schedule();
}

void Reconnector::Schedule() {
  const bool due = enabled_ && wanted_ && broken_;
  if (!due) {
    if (timer_) timer_->Enabled(false);
    return;
  }
  if (!timer_) {
    timer_ = host_.Loop().CreateTimer();
    onTimer_ = timer_->Tick.Subscribe([this] { Try(); });
  }
  timer_->Interval(pause_);
  retryAt_ = host_.Loop().Now() + pause_;
  timer_->Enabled(true);
}

void Reconnector::Try() {
  timer_->Enabled(false);
  pause_ = std::min(2 * pause_, kLongestPause);
  ConditionReason why = ConditionReason::LineFailed;
  const bool connected = Attempt(host_, Name() + ": no connection yet", [&] {
    try {
      connect_();
    } catch (const AutomationError& error) {
      why = ReasonOf(error.Number());
      if (const auto record = RecordOf(connection_)) record->Failed(error.Description());
      throw;
    }
  });
  if (!connected) Broken(why);
}

}  // namespace tarn
