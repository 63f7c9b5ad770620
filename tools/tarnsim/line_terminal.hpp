// A simulated terminal on a line of its own: what all dialects share.
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

/// When the frames of a terminal begin that sends without being asked.
class FrameClock {
 public:
  /// Milliseconds; a period of 0 sends as fast as the line allows.
  FrameClock(double period, double first) : period_(period), next_(first) {}

  /// When the next frame begins; those that came due before the line was free are left out.
  double Next(double earliest);
  void Began(double start) { next_ = start + period_; }

 private:
  double period_;
  double next_;
};

/// Sends one frame after the other, each when it is due and the line is free. The platform lives on
/// while the line is away or silent.
class LineTerminal : public Terminal {
 public:
  /// A program that was held up sends no more than so much of what it missed.
  static constexpr double kMostLag = 100;  // milliseconds
  static constexpr double kNever = std::numeric_limits<double>::infinity();

  LineTerminal(std::unique_ptr<Indicator> indicator, std::unique_ptr<PacedLine> line);

  void Tick(double now) override;
  void Press(const TerminalCommand& command) override { indicator_->Press(command); }

 protected:
  virtual void Receive(std::string_view bytes) = 0;
  /// Milliseconds, not before `earliest`; kNever where nothing is to be sent.
  virtual double NextStart(double earliest) = 0;
  /// What begins now; the indicator has come as far.
  virtual std::string NextFrame(double start) = 0;

  Indicator& Scale() { return *indicator_; }
  const Indicator& Scale() const { return *indicator_; }
  /// The latest tick: what was received came after it.
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
