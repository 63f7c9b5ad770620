#include "shareddata/tarn_orbix_diag_config.hpp"

#include <utility>

#include "base/automation_error.hpp"
#include "shareddata/cell_values.hpp"
#include "shareddata/tag_messages.hpp"

namespace tarn {
namespace {

struct Variable {
  std::string_view easyIndex;
  std::string_view property;
};

constexpr std::array<Variable, 4> kVariables = {{
    {TarnOrbixDiagConfig::kCounts, "CountsVariable"},
    {TarnOrbixDiagConfig::kErrorNumbers, "ErrorNumbersVariable"},
    {TarnOrbixDiagConfig::kOverloadStatus, "OverloadStatusVariable"},
    {TarnOrbixDiagConfig::kScanTable, "ScanTableVariable"},
}};

}  // namespace

void TarnOrbixDiagConfig::ReadProperties(const PropertyBag& bag) {
  for (std::size_t i = 0; i < kVariables.size(); ++i) {
    names_[i] = bag.ReadText(kVariables[i].property, "");
  }
  const SDTagType type{
      bag.ReadLong("CountsType", static_cast<std::int32_t>(SDTagType::SDLongArrayType))};
  if (type == SDTagType::SDLongCharArrayType) countsType_ = type;
  BuildTags();
}

void TarnOrbixDiagConfig::WriteProperties(PropertyBag& bag) const {
  for (std::size_t i = 0; i < kVariables.size(); ++i) {
    bag.WriteText(kVariables[i].property, names_[i], "");
  }
  bag.WriteLong("CountsType", static_cast<std::int32_t>(countsType_),
                static_cast<std::int32_t>(SDTagType::SDLongArrayType));
}

void TarnOrbixDiagConfig::CountsType(SDTagType type) {
  if (type != SDTagType::SDLongArrayType && type != SDTagType::SDLongCharArrayType) {
    throw AutomationError(ErrorNumber::InvalidPropertyValue, "Counts are an array of longs");
  }
  countsType_ = type;
  BuildTags();
  PropertyChanged.Raise("CountsType");
}

void TarnOrbixDiagConfig::Name(std::size_t variable, std::string name) {
  if (!name.empty()) RequireVariableName(name);
  names_[variable] = std::move(name);
  BuildTags();
  PropertyChanged.Raise(kVariables[variable].property);
}

/// Two settings may name one variable; it is then read once and belongs to the first of them.
void TarnOrbixDiagConfig::BuildTags() {
  ClearTags();
  for (std::size_t i = 0; i < kVariables.size(); ++i) {
    if (names_[i].empty() || GetTagInfoByKey(names_[i])) continue;
    const SDTagType type =
        kVariables[i].easyIndex == kCounts ? countsType_ : SDTagType::SDByteArrayType;
    const std::int16_t length = static_cast<std::int16_t>(kMaxCells * ElementWidth(type));
    AddTagInfo(names_[i], type, length)->EasyIndex(std::string(kVariables[i].easyIndex));
  }
}

}  // namespace tarn
