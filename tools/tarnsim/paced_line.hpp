// The output of a simulated terminal: adds the faults and keeps to the pace of the line.
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
  Pieces,      ///< what the line has carried since the last tick, in one piece
  Characters,  ///< each character on its own
};

/// Times are milliseconds since the start of the simulation.
class PacedLine {
 public:
  static constexpr double kRetryTime = 1000;  // between two tries to come back, milliseconds

  PacedLine(std::unique_ptr<TerminalLine> line, double characterTime, Pace pace,
            const FaultInjector& faults);

  /// Takes the line away and brings it back by the schedule. Returns true while it is there. Errors
  /// of TerminalLine::Attach propagate to the caller; the next try is kRetryTime later.
  bool Follow(double now);

  /// Sends a frame. The line is busy for the time of the whole frame, even when faults shorten it.
  void Send(std::string_view frame, double start);
  /// Gathers the bytes that the line has carried. Returns false while a part of the frame is left.
  bool Carry(double now);
  /// Writes the gathered bytes to the line.
  void Flush();
  double FreeAt() const { return pacer_.FreeAt(); }

  Event<std::string_view>& Received() { return line_->Received; }
  Event<std::string_view> Noted;  ///< says when the line goes and comes back

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
