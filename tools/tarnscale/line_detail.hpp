// What the monitor shows of one scale's line.
#pragma once

#include <string>
#include <vector>

#include "scale/tarn_scale.hpp"

namespace tarn::tool {

/// The condition of the reading, what the line has counted since the start, its last error, and the
/// latest bytes that came from the terminal, as hex and text.
std::vector<std::string> LineDetail(const TarnScale& scale);

}  // namespace tarn::tool
