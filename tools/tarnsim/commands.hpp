// The commands of tarnsim, one for each kind of terminal.
#pragma once

#include "tools/arguments.hpp"

namespace tarn::sim {

using tool::Command;
using tool::CommandLine;

/// Each adds its command with its options and its help.
void AddContinuousCommand(CommandLine& line);
void AddGenericCommand(CommandLine& line);
void AddMiraCommand(CommandLine& line);
void AddSharedDataCommand(CommandLine& line);
void AddTemplateCommand(CommandLine& line);

}  // namespace tarn::sim
