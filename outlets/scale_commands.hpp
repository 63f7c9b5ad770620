// The operator's commands, as monitor and send give them.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "scale/tarn_scale.hpp"

namespace tarn {

struct ScaleCommand {
  OperatorCommand command;
  std::string_view name;  ///< what the user writes
  std::string_view word;  ///< in paths and messages: "preset-tare"
  std::string_view help;
  char key;  ///< in the monitor
};

std::span<const ScaleCommand> ScaleCommands();
const ScaleCommand* FindCommand(std::string_view name);
const ScaleCommand* FindCommandKey(char key);
/// By the word of a path or message, written as it is.
const ScaleCommand* FindCommandWord(std::string_view word);

/// Why the command would have no effect at this scale, although the server takes it without an
/// error; empty where it works.
std::string CommandHindrance(const TarnScale& scale, const ScaleCommand& command);

/// Why nothing can arrive from the terminal at present; empty where something can. This shows a
/// line that broke or never opened at once; silence would show only as no-data, and not at all
/// where a terminal prints on demand.
std::string LineCondition(const TarnScale& scale);

/// Gives the command to the scale. Errors of the scale propagate to the caller.
void GiveCommand(TarnScale& scale, const ScaleCommand& command, double tare = 0);

}  // namespace tarn
