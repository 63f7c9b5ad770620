// The services that a scale, its connection and its protocol need from the program around them.
#pragma once

#include <cstdint>
#include <memory>

#include "base/persistable.hpp"
#include "platform/host.hpp"
#include "platform/timer.hpp"

namespace tarn {

class TarnScale;

/// Shared by all scales of one server. A scale that a client holds after the server has ended keeps
/// the site alive; it then has no timers and no log.
class ScaleSite : public ObjectFactory {
 public:
  virtual Host& System() = 0;

  /// The host form's update timer of a scale; null for a number outside 1 to 32.
  virtual std::shared_ptr<Timer> UpdateTimer(std::int16_t scaleNumber) = 0;
  /// The host form's socket control of a scale; null for a number outside 1 to 32.
  virtual std::shared_ptr<SocketControl> Winsock(std::int16_t scaleNumber) = 0;
  /// Called when a scale gives up its number. The socket control of that number is closed for good,
  /// even where a client still holds it, and the number gets a new one.
  virtual void ReleaseSocket(std::int16_t scaleNumber) = 0;
  /// The host form's tick of 200 ms that drives every activity timer.
  virtual std::shared_ptr<Timer> TickTimer() = 0;

  /// Appends one line for the scale's print record when logging is on. Errors of the log stream
  /// propagate to the caller.
  virtual void LogPrint(const TarnScale& scale) = 0;
};

}  // namespace tarn
