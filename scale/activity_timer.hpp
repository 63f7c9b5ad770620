// A one-shot count-down in steps of 200 ms: a scale's receive watchdog, a protocol's record timer.
#pragma once

#include <cstdint>
#include <memory>

#include "base/event.hpp"
#include "platform/timer.hpp"

namespace tarn {

/// All activity timers share one tick, so the moment of the time-out is as coarse as that: a time t
/// runs out between t - 100 and t + 200 ms after it was written.
class ActivityTimer final {
 public:
  static constexpr std::int32_t kTick = 200;  ///< milliseconds

  /// `tickTimer` ticks every kTick milliseconds; it may be null, and the timer then never runs out.
  explicit ActivityTimer(std::shared_ptr<Timer> tickTimer);
  ActivityTimer(const ActivityTimer&) = delete;
  ActivityTimer& operator=(const ActivityTimer&) = delete;

  /// Milliseconds. Writing restarts the count-down from t / 200 + 1 ticks, rounded half to even;
  /// 0 stops it, and so in effect does a negative time. Reading gives the time
  /// that is left in whole ticks, not the value that was written: 800 directly after writing 500.
  void TimeoutTime(std::int32_t milliseconds);
  std::int32_t TimeoutTime() const;

  /// True when stopped as well as when run out.
  bool TimedOut() const { return ticks_ < 1; }

  /// Raised once when the time runs out; the timer then stays stopped until it is written again.
  /// Published as the event TimedOut.
  Event<> TimedOutEvent;

 private:
  void Tick();

  std::int32_t ticks_ = 0;
  std::shared_ptr<Timer> tickTimer_;
  Subscription tickSubscription_;
};

}  // namespace tarn
