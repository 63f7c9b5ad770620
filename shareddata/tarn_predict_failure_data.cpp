#include "shareddata/tarn_predict_failure_data.hpp"

#include <array>

#include "shareddata/array_text.hpp"
#include "shareddata/tarn_predict_failure_config.hpp"

namespace tarn {

void TarnPredictFailureData::Clear() {
  scanTable_.Clear();
  zeroDrift_.Clear();
  for (CellLongs* values : {&symFailures_, &zeroDrifts_}) values->Clear();
  for (EntryBytes* values : {&symmetryFailure_, &badCell_, &replacementCell_}) values->Clear();
  estimating_.Clear();
}

void TarnPredictFailureData::SetBitData(bool TagData, const TagInfo& myTagInfo) {
  const std::int32_t entry =
      PlaceInList(TarnPredictFailureConfig::kEstimating, Required(myTagInfo).TagName());
  if (entry > 0) estimating_[entry] = TagData;
}

void TarnPredictFailureData::SetByteData(std::uint8_t TagData, const TagInfo& myTagInfo) {
  struct Rule {
    std::string_view prefix;
    std::string_view suffix;
    EntryBytes TarnPredictFailureData::*values;
  };
  static constexpr std::array<Rule, 3> kRules = {{
      {"ws", "25", &TarnPredictFailureData::symmetryFailure_},
      {"ws", "26", &TarnPredictFailureData::badCell_},
      {"ws", "27", &TarnPredictFailureData::replacementCell_},
  }};
  const TagPlace place(Required(myTagInfo).TagName());
  const Rule* rule = FindRule(kRules, place);
  if (rule != nullptr && place.scale > 0) (this->*rule->values)[place.scale] = TagData;
}

void TarnPredictFailureData::SetCharArrayData(std::vector<std::uint8_t>& TagData,
                                              std::int16_t dataLen, const TagInfo& myTagInfo) {
  const std::string& name = Required(myTagInfo).TagName();
  if (name == "bd018") {
    FileCells(TagData, dataLen, zeroDrift_);
  } else if (name == "bd021") {
    scanTable_.File(TagData);
    ConfigChanged.Raise();
  }
}

void TarnPredictFailureData::SetLongData(std::int32_t TagData, std::int16_t dataIndex,
                                         const TagInfo& myTagInfo) {
  const std::string& name = Required(myTagInfo).TagName();
  if (name == "pcl06") {
    symFailures_[dataIndex + 1] = TagData;
  } else if (name == "pcl07") {
    zeroDrifts_[dataIndex + 1] = TagData;
  }
}

std::vector<NamedValue> TarnPredictFailureData::NamedValues() const {
  return {
      Named("ScanTable", ScanTable()),
      Named("ReplacementCell", ReplacementCellArray()),
      Named("BadCell", BadCellArray()),
      Named("SymmetryFailure", SymmetryFailureArray()),
      Named("EstimatingWeightStatus", EstimatingWeightStatusArray()),
      Named("CellZeroDriftStatus", CellZeroDriftStatusArray()),
      Named("CellSymFailCounter", CellSymFailCounterArray()),
      Named("CellZeroDriftCounter", CellZeroDriftCounterArray()),
  };
}

}  // namespace tarn
