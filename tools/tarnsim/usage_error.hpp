// The name by which the simulators know UsageError.
#pragma once

#include "tools/usage_error.hpp"

namespace tarn::sim {

using tool::UsageError;

}  // namespace tarn::sim
