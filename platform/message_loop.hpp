// The loop on whose thread the whole system runs.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/timer.hpp"

namespace tarn {

/// Sleeps until something is due and then works in this order: what was posted before this turn (in
/// order of posting), the timers that are due (those due at one moment in the order in which they
/// were started), what the operating system announces (lines, sockets, keys, COM calls). A piece of
/// work posted from a callback runs in the next turn, after that callback.
///
/// No exception leaves the loop: a callback that throws is traced (Host::Trace) and the loop goes
/// on. All members are called on the loop's thread, Post and Quit from any thread.
class MessageLoop {
 public:
  MessageLoop() = default;
  MessageLoop(const MessageLoop&) = delete;
  MessageLoop& operator=(const MessageLoop&) = delete;
  virtual ~MessageLoop() = default;

  /// Milliseconds of a clock that only goes forward; microseconds in the fraction.
  virtual double Now() const = 0;

  virtual void Post(std::function<void()> work) = 0;
  virtual std::unique_ptr<Timer> CreateTimer() = 0;
  /// Whether posted work or a timer is due. For a callback that keeps the loop waiting.
  virtual bool HasDueWork() const = 0;

  /// Runs until Quit. Quit before Run makes Run return at once.
  virtual void Run() = 0;
  virtual void Quit() = 0;

  /// Runs turns until the condition holds or the time is over; true when the condition held. May be
  /// nested inside a callback: this is how one operation waits while the others go on.
  virtual bool RunUntil(const std::function<bool()>& condition, std::int32_t milliseconds) = 0;
};

}  // namespace tarn
