// The operator's commands, as monitor and send give them.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "scale/tarn_scale.hpp"

namespace tarn::tool {

struct ScaleCommand {
  enum class Kind { Zero, Tare, ClearTare, Print, PresetTare, TakePrint, TakePrintNow };

  Kind kind;
  std::string_view name;  ///< what the user writes
  std::string_view help;
  char key;  ///< in the monitor
  /// Sent to the terminal; the others are answered from the readings.
  bool toTerminal;
};

std::span<const ScaleCommand> ScaleCommands();
const ScaleCommand* FindCommand(std::string_view name);
const ScaleCommand* FindCommandKey(char key);

/// Why the command would do nothing at this scale, though the server would take it without a word;
/// empty where it works.
std::string CommandHindrance(const TarnScale& scale, const ScaleCommand& command);

/// Whether the protocol sends a command only behind a weight that came: before the first one it
/// would be forgotten.
bool CommandNeedsReading(const TarnScale& scale);
/// Why nothing can arrive from the terminal now; empty where something can. A line that went away,
/// or never opened, shows so at once; silence would show only as no-data, and not at all where a
/// terminal prints on demand.
std::string LineCondition(const TarnScale& scale);

/// Gives the command to the scale. Errors of the scale reach the caller.
void GiveCommand(TarnScale& scale, const ScaleCommand& command, double tare = 0);

}  // namespace tarn::tool
