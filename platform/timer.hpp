// A periodic timer as the host form carries it.
#pragma once

#include <cstdint>

#include "base/event.hpp"

namespace tarn {

/// Ticks on the loop's thread every Interval milliseconds while it is enabled. An interval of 0
/// gives no ticks, enabled or not. Writing the interval, or enabling a disabled timer, starts a
/// full period again; enabling an enabled one changes nothing. A loop that comes late gives one
/// tick for all the periods that were missed.
///
/// May be destroyed, disabled or rewritten inside its own Tick.
class Timer {
 public:
  Timer() = default;
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;
  virtual ~Timer() = default;

  /// Milliseconds, 0 to 2^31-1. Error 380 when negative.
  virtual void Interval(std::int32_t milliseconds) = 0;
  virtual std::int32_t Interval() const = 0;
  virtual void Enabled(bool enabled) = 0;
  virtual bool Enabled() const = 0;

  Event<> Tick;
};

}  // namespace tarn
