// The settings of the terminal data sets.
#pragma once

#include <vector>

#include "tools/tarnscale/scale_keys.hpp"

namespace tarn::tool {

/// The rows of the configurations that have settings.
void AppendVariableKeys(std::vector<ScaleKey>& table);

}  // namespace tarn::tool
