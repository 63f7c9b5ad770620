// The simulators' name of what the user asked for and cannot be.
#pragma once

#include "tools/usage_error.hpp"

namespace tarn::sim {

using tool::UsageError;

}  // namespace tarn::sim
