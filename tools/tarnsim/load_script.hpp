// The language of load scripts: what lies on a simulated platform, and when.
//
//   load AMOUNT               replaces the load on the platform
//   ramp [FROM] TO DURATION   changes the load evenly, from the present one unless FROM is given
//   wait DURATION             leaves the load as it is
//   press KEYS                presses a key: C, T, Z, P or a preset tare like 12.5T; takes 10 ms
//   repeat [TIMES]            plays all of it again, without end or TIMES times in all; comes last
//
// Statements end at ";" or the end of the line, "#" begins a comment.
//   AMOUNT    in the terminal's units (12.5) or in percent of its capacity (80%)
//   DURATION  500ms, 3s, 2min; a bare number counts seconds
// Where two of either are given as LOW..HIGH (10%..90%, 2s..4s), each pass draws one between them.
#pragma once

#include <cstddef>
#include <string_view>
#include <variant>
#include <vector>

#include "tools/tarnsim/terminal_command.hpp"

namespace tarn::sim {

inline constexpr std::string_view kBlanks = " \t\r";
/// Without the blanks at both ends.
std::string_view Trimmed(std::string_view text);

/// A range of which one value is drawn; both ends equal for a fixed one.
struct Span {
  double low = 0;
  double high = 0;
};
struct Amount {
  Span span;
  bool percent = false;  ///< of the capacity; else in the terminal's units
};

struct SetLoad {
  Amount amount;
};
struct Ramp {
  bool fromPresent = true;
  Amount from;
  Amount to;
  Span duration;  ///< milliseconds
};
struct Wait {
  Span duration;  ///< milliseconds
};
struct PressKey {
  TerminalCommand command;
};
using LoadStep = std::variant<SetLoad, Ramp, Wait, PressKey>;

struct LoadScript {
  static constexpr std::size_t kMaxText = 1U << 20U;
  /// A pass that took no time would repeat without end in one moment.
  static constexpr double kShortestPass = 10;  // milliseconds

  std::vector<LoadStep> steps;
  int passes = 1;  ///< 0 is for ever
};

/// Throws UsageError, which names the line, the statement and the fault.
LoadScript ParseLoadScript(std::string_view text);

/// Milliseconds of a DURATION. Throws UsageError.
double ParseDuration(std::string_view text);

}  // namespace tarn::sim
