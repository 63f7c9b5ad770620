#include "connections/reconnector.hpp"

#include <algorithm>
#include <exception>
#include <utility>

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

std::string Reconnector::Titled(const std::string& what) const {
  const auto scale = connection_.ServedScale();
  return (scale ? scale->Title() : "No scale") + ": " + what;
}

void Reconnector::Trace(const std::string& what) const {
  host_.Trace(Titled(what));
}

void Reconnector::TraceFailure(const std::string& what) const {
  Trace(what);
  if (const auto record = RecordOf(connection_)) record->Failed(what);
}

void Reconnector::TraceBreak(const std::string& what) const {
  constexpr std::int32_t kSecond = 1000;
  std::string text = what;
  if (enabled_ && wanted_) text += "; next try in " + std::to_string(pause_ / kSecond) + " s";
  // An attempt that fails is no news: the link is broken already.
  if (broken_ || !enabled_) return TraceFailure(text);
  host_.TraceNews(Titled(text));
  if (const auto record = RecordOf(connection_)) record->Failed(text);
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

bool Reconnector::KeepTrying(const AutomationError& error) {
  if (!enabled_ || error.Number() == ErrorNumber::InvalidPropertyValue) return false;
  wanted_ = true;
  Broken(ReasonOf(error.Number()));
  return true;
}

void Reconnector::Restored() {
  if (std::exchange(broken_, false)) {
    if (const auto record = RecordOf(connection_)) ++record->total.reopenings;
    if (enabled_ && wanted_) host_.TraceNews(Titled(device_() + " is connected"));
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
  try {
    return connect_();
  } catch (const AutomationError& error) {
    why = ReasonOf(error.Number());
    TraceBreak("no connection yet: " + error.Description());
  } catch (const std::exception& error) {
    TraceBreak(std::string("no connection yet: ") + error.what());
  }
  Broken(why);
}

}  // namespace tarn
