// The terminal variables of the load-cell diagnostic data set.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "shareddata/tag_list_config.hpp"

namespace tarn {

/// Four variables with a value for each of 24 cells. What they are called depends on the terminal,
/// so their names are settings: 1 to 6 characters, or empty for a variable that is not read. A
/// longer name is error 380. The settings persist under the names of their properties.
class TarnOrbixDiagConfig final : public TagListConfig {
 public:
  static constexpr std::string_view kClassName = "TarnOrbixDiagConfig";
  /// The easy indexes of the tags, by which the data object knows them.
  static constexpr std::string_view kCounts = "Counts";
  static constexpr std::string_view kErrorNumbers = "ErrorNumbers";
  static constexpr std::string_view kOverloadStatus = "OverloadStatus";
  static constexpr std::string_view kScanTable = "ScanTable";

  std::string_view ClassName() const override { return kClassName; }
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  // Published members, in the order of the interface.

  void CountsVariable(std::string name) { Name(0, std::move(name)); }
  const std::string& CountsVariable() const { return names_[0]; }
  /// SDLongArrayType (the default) or SDLongCharArrayType; any other is error 380.
  void CountsType(SDTagType type);
  SDTagType CountsType() const { return countsType_; }
  void ErrorNumbersVariable(std::string name) { Name(1, std::move(name)); }
  const std::string& ErrorNumbersVariable() const { return names_[1]; }
  void OverloadStatusVariable(std::string name) { Name(2, std::move(name)); }
  const std::string& OverloadStatusVariable() const { return names_[2]; }
  void ScanTableVariable(std::string name) { Name(3, std::move(name)); }
  const std::string& ScanTableVariable() const { return names_[3]; }

 private:
  void Name(std::size_t variable, std::string name);
  void BuildTags();

  std::array<std::string, 4> names_;
  SDTagType countsType_ = SDTagType::SDLongArrayType;
};

}  // namespace tarn
