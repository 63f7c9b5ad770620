#include "connections/reconnector.hpp"

#include <algorithm>
#include <exception>
#include <utility>

#include "scale/tarn_scale.hpp"

namespace tarn {

Reconnector::Reconnector(Host& host, const ScalePart& link, std::function<void()> connect,
                         std::function<std::string()> device)
    : host_(host), link_(link), connect_(std::move(connect)), device_(std::move(device)) {}

std::string Reconnector::Titled(const std::string& what) const {
  const auto scale = link_.ServedScale();
  return (scale ? scale->Title() : "No scale") + ": " + what;
}

void Reconnector::Trace(const std::string& what) const {
  host_.Trace(Titled(what));
}

void Reconnector::TraceBreak(const std::string& what) const {
  const std::string text = Titled(what + NextTry());
  // An attempt that fails is no news: the link is broken already.
  if (enabled_ && !broken_)
    host_.TraceNews(text);
  else
    host_.Trace(text);
}

std::string Reconnector::NextTry() const {
  constexpr std::int32_t kSecond = 1000;
  if (!enabled_ || !wanted_) return {};
  return "; next try in " + std::to_string(pause_ / kSecond) + " s";
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

void Reconnector::Broken() {
  broken_ = true;
  Schedule();
}

bool Reconnector::KeepTrying(const AutomationError& error) {
  if (!enabled_ || error.Number() == ErrorNumber::InvalidPropertyValue) return false;
  wanted_ = true;
  Broken();
  return true;
}

void Reconnector::Restored() {
  if (std::exchange(broken_, false) && enabled_ && wanted_)
    host_.TraceNews(Titled(device_() + " is connected"));
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
  timer_->Enabled(true);
}

void Reconnector::Try() {
  timer_->Enabled(false);
  pause_ = std::min(2 * pause_, kLongestPause);
  try {
    connect_();
  } catch (const std::exception& error) {
    Trace(std::string("no connection yet: ") + error.what() + NextTry());
    Broken();
  }
}

}  // namespace tarn
