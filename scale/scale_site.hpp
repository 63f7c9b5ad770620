// What a scale, its connection and its protocol ask of the program that they live in.
#pragma once

#include <cstdint>
#include <memory>

#include "base/persistable.hpp"
#include "platform/host.hpp"
#include "platform/timer.hpp"

namespace tarn {

class TarnScale;

/// Shared by all scales of one server; a scale that a client still holds after the server went
/// keeps it alive, and finds it quiet: no timers, no log.
class ScaleSite : public ObjectFactory {
 public:
  virtual Host& System() = 0;

  /// The host form's update timer of a scale; none for a number outside 1 to 32.
  virtual std::shared_ptr<Timer> UpdateTimer(std::int16_t scaleNumber) = 0;
  /// The host form's socket control of a scale; none for a number outside 1 to 32.
  virtual std::shared_ptr<SocketControl> Winsock(std::int16_t scaleNumber) = 0;
  /// A scale leaves its number: a client that still holds the control of that number holds one that
  /// is closed for good, and the number gets another.
  virtual void ReleaseSocket(std::int16_t scaleNumber) = 0;
  /// The host form's tick of 200 ms that drives every activity timer.
  virtual std::shared_ptr<Timer> TickTimer() = 0;

  /// Appends one line for the scale's print record when logging is on. Errors of the log stream
  /// reach the caller.
  virtual void LogPrint(const TarnScale& scale) = 0;
};

}  // namespace tarn
