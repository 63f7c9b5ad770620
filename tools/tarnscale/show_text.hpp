// Prints the settings of the scales of a file as text or JSON.
#pragma once

#include <string>
#include <vector>

#include "tools/tarnscale/scale_file.hpp"

namespace tarn::tool {

/// In place of the settings of a slot that cannot be restored.
inline constexpr const char* kNotRestored = "its entry in the settings file is damaged";
/// The numbers of the configured scales, or all 32. A slot that cannot be restored is among them,
/// since somebody has to see it.
std::vector<int> ShownScales(const ScaleFile& file, bool all);

/// One scale: a line for its number, then those of its settings that have an effect, as KEY=VALUE
/// lines that `set` takes back.
std::string ShowScaleText(const ScaleFile& file, int number);

/// One scale on one line.
std::string ShowBriefly(const ScaleFile& file, int number);

/// The configured scales, or all 32; a note where none is configured.
std::string ShowText(const ScaleFile& file, bool all, bool brief = false);

/// One JSON object: {"file": ..., "scales": [...]}. A scale that cannot be restored has the member
/// "error" in place of its settings. `only` is the number of one scale, 0 for all of them.
std::string ShowJson(const ScaleFile& file, bool all, int only = 0);

}  // namespace tarn::tool
