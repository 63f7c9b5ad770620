#include "shareddata/tarn_predict_failure_config.hpp"

#include <array>
#include <cstddef>

namespace tarn {

TarnPredictFailureConfig::TarnPredictFailureConfig() {
  AddTagInfo("bd018", SDTagType::SDByteArrayType, 25);
  AddTagInfo("pcl06", SDTagType::SDLongCharArrayType, 320);
  AddTagInfo("pcl07", SDTagType::SDLongCharArrayType, 320);
  AddTagInfo("bd021", SDTagType::SDByteArrayType, 25);
  for (const std::string_view name : kEstimating) AddTagInfo(name, SDTagType::SDBitType, 1);
  for (const std::string_view suffix : {"25", "26", "27"}) {
    AddForEachScale("ws", suffix, SDTagType::SDByteType, 1);
  }
}

std::string TarnPredictFailureConfig::GetResetTrigger(std::int16_t TriggerIndex) const {
  static constexpr std::array<const char*, 4> kTriggers = {"t_69f", "t_6af", "t_62f", "t_63f"};
  const bool exists = TriggerIndex >= 1 && TriggerIndex <= static_cast<int>(kTriggers.size());
  return exists ? kTriggers[static_cast<std::size_t>(TriggerIndex - 1)] : "";
}

}  // namespace tarn
