// Prints the settings of the scales of a file as text or JSON.
#pragma once

#include <string>

#include "tools/tarnscale/scale_file.hpp"

namespace tarn::tool {

/// One scale: a line for its number, then its settings as KEY=VALUE lines that `set` takes back.
std::string ShowScaleText(const ScaleFile& file, int number);

/// The configured scales, or all 32; a note where none is configured.
std::string ShowText(const ScaleFile& file, bool all);

/// One JSON object: {"file": ..., "scales": [...]}. A scale that cannot be restored has the member
/// "error" in place of its settings.
std::string ShowJson(const ScaleFile& file, bool all);

}  // namespace tarn::tool
