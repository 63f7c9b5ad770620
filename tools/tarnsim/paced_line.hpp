// A simulated terminal's output: through the faults, at the line's pace, onto the line.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "base/event.hpp"
#include "platform/terminal_line.hpp"
#include "tools/tarnsim/fault_injector.hpp"
#include "tools/tarnsim/line_pacer.hpp"

namespace tarn::sim {

enum class Pace {
  Pieces,      ///< in one piece what the line has carried since the last look
  Characters,  ///< each character on its own
};

/// Times are milliseconds since the start of the simulation.
class PacedLine {
 public:
  static constexpr double kRetryTime = 1000;  // between two tries to come back, milliseconds

  PacedLine(std::unique_ptr<TerminalLine> line, double characterTime, Pace pace,
            const FaultInjector& faults);

  /// Takes the line away and brings it back by the schedule; true while it is there. Errors of
  /// TerminalLine::Attach climb; the next try is kRetryTime later.
  bool Follow(double now);

  /// Sends a frame. The line is taken for the frame's time at least, whatever is left of it.
  void Send(std::string_view frame, double start);
  /// Gathers what has been carried by now; false while some of the last frame still is to be.
  bool Carry(double now);
  /// Writes what was gathered to the line.
  void Flush();
  double FreeAt() const { return pacer_.FreeAt(); }

  Event<std::string_view>& Received() { return line_->Received; }
  Event<std::string_view> Noted;  ///< the line going and coming back, for people

 private:
  void Vanish();

  std::unique_ptr<TerminalLine> line_;
  LinePacer pacer_;
  Pace pace_;
  FaultInjector faults_;
  std::string carried_;
  double retryAt_ = 0;
};

}  // namespace tarn::sim
