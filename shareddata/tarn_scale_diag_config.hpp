// The terminal variables of the scale diagnostic data set.
#pragma once

#include <array>
#include <string_view>

#include "shareddata/tag_list_config.hpp"

namespace tarn {

/// 64 variables of up to four scales, no triggers.
class TarnScaleDiagConfig final : public TagListConfig {
 public:
  static constexpr std::string_view kClassName = "TarnScaleDiagConfig";
  /// The variables of the critical-error flags of scales 1 to 4.
  static constexpr std::array<std::string_view, 4> kCriticalErrors = {"s_205", "s_20d", "s_275",
                                                                      "s_285"};

  TarnScaleDiagConfig();
  std::string_view ClassName() const override { return kClassName; }
};

}  // namespace tarn
