#include "connections/reconnector.hpp"

#include <algorithm>
#include <utility>

#include "platform/attempt.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn {

std::string LinkName(const ScalePart& connection, const std::string& device) {
  const auto scale = connection.ServedScale();
  return (scale ? "Scale " + std::to_string(scale->ScaleNumber()) : "No scale") + ", " + device;
}

Reconnector::Reconnector(Host& host, std::function<void()> connect,
                         std::function<std::string()> name)
    : host_(host), connect_(std::move(connect)), name_(std::move(name)) {}

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

void Reconnector::Restored() {
  if (std::exchange(broken_, false) && enabled_) Trace("connected again");
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
  if (!Attempt(host_, name_() + ": no connection yet", connect_)) Broken();
}

}  // namespace tarn
