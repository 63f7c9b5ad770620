// The part of a simulated terminal on a line that all dialects share.
#pragma once

#include <limits>
#include <memory>
#include <string>
#include <string_view>

#include "base/event.hpp"
#include "tools/tarnsim/indicator.hpp"
#include "tools/tarnsim/paced_line.hpp"
#include "tools/tarnsim/terminal.hpp"

namespace tarn::sim {

/// The times at which a terminal sends frames without being asked.
class FrameClock {
 public:
  /// Milliseconds; a period of 0 sends as fast as the line allows.
  FrameClock(double period, double first) : period_(period), next_(first) {}

  /// Returns when the next frame begins. Frames that came due before the line was free are skipped.
  double Next(double earliest);
  void Began(double start) { next_ = start + period_; }

 private:
  double period_;
  double next_;
};

/// Sends one frame after the other, each when it is due and the line is free. The load goes on
/// changing while the line is away or silent.
class LineTerminal : public Terminal {
 public:
  /// A program that was held up sends at most the frames of this time.
  static constexpr double kMostLag = 100;  // milliseconds
  static constexpr double kNever = std::numeric_limits<double>::infinity();

  LineTerminal(std::unique_ptr<Indicator> indicator, std::unique_ptr<PacedLine> line);

  void Tick(double now) override;
  void Press(const TerminalCommand& command) override { indicator_->Press(command); }

 protected:
  virtual void Receive(std::string_view bytes) = 0;
  /// Returns when the next frame begins, not before `earliest`; kNever when there is none.
  virtual double NextStart(double earliest) = 0;
  /// Returns the frame that begins now. The indicator has advanced to this time.
  virtual std::string NextFrame(double start) = 0;

  Indicator& Scale() { return *indicator_; }
  const Indicator& Scale() const { return *indicator_; }
  /// The time of the latest tick. Received bytes came after it.
  double Now() const { return now_; }

 private:
  void SendFrames();

  std::unique_ptr<Indicator> indicator_;
  std::unique_ptr<PacedLine> line_;
  double now_ = 0;
  Subscription indicatorNoteSubscription_;
  Subscription lineNoteSubscription_;
  Subscription receiveSubscription_;
};

}  // namespace tarn::sim
