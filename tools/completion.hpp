// Scripts that complete a tool's command line in a shell.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/command_table.hpp"

namespace tarn::tool {

/// The shells that there is a script for.
std::vector<std::string> CompletionShells();

/// The script for one of them, to be installed under the name that the shell expects, or sourced.
std::string Completion(const CommandTable& table, std::string_view shell);

}  // namespace tarn::tool
