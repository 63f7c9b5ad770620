// A manual page that says what --help says.
#pragma once

#include <string>

#include "tools/command_table.hpp"

namespace tarn::tool {

/// The page in the macros of man(7), section 1. Options that several commands share in one group
/// stand at the first of them only. Sections may follow behind it.
std::string ManualPage(const CommandTable& table);

}  // namespace tarn::tool
