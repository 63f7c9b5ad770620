// The settings of the template protocols: the layout of a record and the names of its fields.
#pragma once

#include <vector>

#include "tools/tarnscale/scale_keys.hpp"

namespace tarn::tool {

/// The rows of both template protocols.
void AppendTemplateKeys(std::vector<ScaleKey>& table);

}  // namespace tarn::tool
