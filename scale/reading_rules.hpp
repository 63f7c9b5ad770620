// By which rules readings are made of bytes.
#pragma once

#include <cstdint>

namespace tarn {

/// Some of the published rules falsify readings or withhold them. Clients of long standing rely on
/// them, so they are the rule; a scale with CorrectReadings has those that are meant instead.
enum class ReadingRules : std::uint8_t { Published, Corrected };

}  // namespace tarn
