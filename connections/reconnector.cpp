#include "connections/reconnector.hpp"

#include <algorithm>
#include <exception>
#include <utility>

namespace tarn {

Reconnector::Reconnector(Host& host, std::function<void()> connect)
    : host_(host), connect_(std::move(connect)) {}

void Reconnector::Enabled(bool enabled) {
  enabled_ = enabled;
  Schedule();
}

void Reconnector::Wanted(bool wanted) {
  wanted_ = wanted;
  Restored();
}

void Reconnector::Broken() {
  broken_ = true;
  Schedule();
}

void Reconnector::Restored() {
  broken_ = false;
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
    host_.Trace(std::string("no connection yet: ") + error.what());
    Broken();
  }
}

}  // namespace tarn
