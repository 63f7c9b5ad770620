#include "scale/activity_timer.hpp"

#include <utility>

#include "base/number_text.hpp"

namespace tarn {

ActivityTimer::ActivityTimer(std::shared_ptr<Timer> tickTimer) : tickTimer_(std::move(tickTimer)) {
  if (tickTimer_) tickSubscription_ = tickTimer_->Tick.Subscribe([this] { Tick(); });
}

void ActivityTimer::TimeoutTime(std::int32_t milliseconds) {
  ticks_ = milliseconds == 0 ? 0 : RoundToLong(static_cast<double>(milliseconds) / kTick + 1);
}

std::int32_t ActivityTimer::TimeoutTime() const {
  return RoundToLong(static_cast<double>(ticks_) * kTick);
}

void ActivityTimer::Tick() {
  if (ticks_ < 1) return;
  if (--ticks_ < 1) TimedOutEvent.Raise();
}

}  // namespace tarn
