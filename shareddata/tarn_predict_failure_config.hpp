// The terminal variables of the failure-prediction data set.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "shareddata/tag_list_config.hpp"

namespace tarn {

/// 20 variables, and four triggers that are reset before the first round.
class TarnPredictFailureConfig final : public TagListConfig {
 public:
  static constexpr std::string_view kClassName = "TarnPredictFailureConfig";
  /// The variables of EstimatingWeightStatus 1 to 4.
  static constexpr std::array<std::string_view, 4> kEstimating = {"s_263", "s_26b", "s_27b",
                                                                  "s_28b"};

  TarnPredictFailureConfig();
  std::string_view ClassName() const override { return kClassName; }
  std::string GetResetTrigger(std::int16_t TriggerIndex) const override;
};

}  // namespace tarn
