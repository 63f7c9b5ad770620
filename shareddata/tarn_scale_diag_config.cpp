#include "shareddata/tarn_scale_diag_config.hpp"

#include <array>
#include <cstdint>
#include <string>

namespace tarn {
namespace {

/// The names are prefix, scale number, suffix.
struct PerScaleTag {
  std::string_view prefix;
  std::string_view suffix;
  SDTagType type;
  std::int16_t length;
};

constexpr std::array<PerScaleTag, 6> kCalibration = {{
    {"ce", "20", SDTagType::SDLongType, 4},
    {"ws", "08", SDTagType::SDDoubleType, 8},
    {"ce", "21", SDTagType::SDLongType, 4},
    {"ce", "22", SDTagType::SDDoubleType, 8},
    {"ce", "23", SDTagType::SDLongType, 4},
    {"ce", "24", SDTagType::SDDoubleType, 8},
}};

constexpr std::array<PerScaleTag, 7> kService = {{
    {"ws", "13", SDTagType::SDCharArrayType, 41},
    {"ws", "14", SDTagType::SDFloatType, 4},
    {"ws", "20", SDTagType::SDFloatType, 4},
    {"ws", "21", SDTagType::SDFloatType, 4},
    {"ws", "22", SDTagType::SDFloatType, 4},
    {"ws", "23", SDTagType::SDFloatType, 4},
    {"ws", "24", SDTagType::SDFloatType, 4},
}};

}  // namespace

TarnScaleDiagConfig::TarnScaleDiagConfig() {
  // The kind of a scale comes first: what its second byte means depends on it.
  for (const char scale : {'1', '2', '3', '4'}) {
    AddTagInfo(std::string("cs") + scale + "21", SDTagType::SDCharType, 1);
    AddTagInfo(std::string("ce") + scale + "02", SDTagType::SDByteType, 1);
  }
  for (const PerScaleTag& tag : kCalibration) {
    AddForEachScale(tag.prefix, tag.suffix, tag.type, tag.length);
  }
  for (const std::string_view name : kCriticalErrors) AddTagInfo(name, SDTagType::SDBitType, 1);
  for (const PerScaleTag& tag : kService) {
    AddForEachScale(tag.prefix, tag.suffix, tag.type, tag.length);
  }
}

}  // namespace tarn
