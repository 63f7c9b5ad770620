// The interface of all simulated terminals to the simulation.
#pragma once

#include <string_view>

#include "base/event.hpp"
#include "tools/tarnsim/terminal_command.hpp"

namespace tarn::sim {

class Terminal {
 public:
  Terminal() = default;
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  virtual ~Terminal() = default;

  /// Does all that is due by `now`, in milliseconds since the start. Errors of the line propagate
  /// to the caller.
  virtual void Tick(double now) = 0;
  /// Presses a key of the terminal.
  virtual void Press(const TerminalCommand& command) = 0;

  Event<std::string_view> Noted;      ///< commands and their results, changes of the line
  Event<std::string_view> FrameSent;  ///< the frame as it was before the faults
};

}  // namespace tarn::sim
