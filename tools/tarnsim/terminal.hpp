// What the simulation asks of every simulated terminal, whatever its dialect.
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

  /// Does what was due by then, in milliseconds since the start. Errors of the line climb.
  virtual void Tick(double now) = 0;
  /// A key of the terminal itself.
  virtual void Press(const TerminalCommand& command) = 0;

  Event<std::string_view> Noted;      ///< commands and what became of them, the line's state
  Event<std::string_view> FrameSent;  ///< as it was before the faults
};

}  // namespace tarn::sim
