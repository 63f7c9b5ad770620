#include "shareddata/tarn_scale_diag_data.hpp"

#include <algorithm>
#include <array>
#include <limits>

#include "base/number_text.hpp"
#include "shareddata/array_text.hpp"
#include "shareddata/tarn_scale_diag_config.hpp"

namespace tarn {
namespace {

constexpr char kNoScale = 'N';
constexpr char kKindWithByte = 'P';

}  // namespace

TarnScaleDiagData::TarnScaleDiagData(ScaleSite& site) : locale_(site.System().Locale()) {}

/// Where a whole number of a variable is stored.
struct TarnScaleDiagData::LongRule {
  std::string_view prefix;
  std::string_view suffix;
  Longs TarnScaleDiagData::*values;
};

void TarnScaleDiagData::Clear() {
  for (Longs* values : {&calZeroCounts_, &zeroCounts_, &counts_, &calHighCounts_, &calMidCounts_,
                        &errors_, &weighments_, &overloads_, &impacts_, &zeroes_, &zeroFailures_}) {
    values->Clear();
  }
  for (Texts* values : {&calHighWeight_, &calMidWeight_, &lastError_}) values->Clear();
  criticalError_.Clear();
  kind_.Clear();
  kindByte_.Clear();
  presentScales_ = 0;
}

void TarnScaleDiagData::ResetState() {
  TerminalData::ResetState();
  presentScales_ = 0;
}

void TarnScaleDiagData::SetBitData(bool TagData, const TagInfo& myTagInfo) {
  const std::int32_t scale =
      PlaceInList(TarnScaleDiagConfig::kCriticalErrors, Required(myTagInfo).TagName());
  if (scale > 0) criticalError_[scale] = TagData;
}

void TarnScaleDiagData::SetByteData(std::uint8_t TagData, const TagInfo& myTagInfo) {
  const TagPlace place(Required(myTagInfo).TagName());
  if (place.scale == 0) return;
  if (place.Is("cs", "21")) {
    kind_[place.scale] = static_cast<char>(TagData);
    const bool countable = presentScales_ < std::numeric_limits<std::int16_t>::max();
    if (kind_[place.scale] != kNoScale && countable) ++presentScales_;
  } else if (place.Is("ce", "02") && kind_[place.scale] == kKindWithByte) {
    kindByte_[place.scale] = TagData;
  }
}

void TarnScaleDiagData::SetLongData(std::int32_t TagData, std::int16_t /*dataIndex*/,
                                    const TagInfo& myTagInfo) {
  static constexpr std::array<LongRule, 3> kRules = {{
      {"ce", "20", &TarnScaleDiagData::calZeroCounts_},
      {"ce", "21", &TarnScaleDiagData::calHighCounts_},
      {"ce", "23", &TarnScaleDiagData::calMidCounts_},
  }};
  const TagPlace place(Required(myTagInfo).TagName());
  const LongRule* rule = FindRule(kRules, place);
  if (rule != nullptr && place.scale > 0) (this->*rule->values)[place.scale] = TagData;
}

void TarnScaleDiagData::SetFloatData(float TagData, std::int16_t /*dataIndex*/,
                                     const TagInfo& myTagInfo) {
  static constexpr std::array<LongRule, 6> kRules = {{
      {"ws", "14", &TarnScaleDiagData::errors_},
      {"ws", "20", &TarnScaleDiagData::weighments_},
      {"ws", "21", &TarnScaleDiagData::overloads_},
      {"ws", "22", &TarnScaleDiagData::impacts_},
      {"ws", "23", &TarnScaleDiagData::zeroes_},
      {"ws", "24", &TarnScaleDiagData::zeroFailures_},
  }};
  const TagPlace place(Required(myTagInfo).TagName());
  const LongRule* rule = FindRule(kRules, place);
  if (rule != nullptr && place.scale > 0) {
    (this->*rule->values)[place.scale] = RoundToLong(static_cast<double>(TagData));
  }
}

void TarnScaleDiagData::SetDoubleData(double TagData, std::int16_t /*dataIndex*/,
                                      const TagInfo& myTagInfo) {
  const TagPlace place(Required(myTagInfo).TagName());
  if (place.scale == 0) return;
  if (place.Is("ce", "22")) {
    calHighWeight_[place.scale] = GeneralNumberText(TagData, locale_.DecimalSeparator());
  } else if (place.Is("ce", "24")) {
    calMidWeight_[place.scale] = GeneralNumberText(TagData, locale_.DecimalSeparator());
  } else if (place.Is("ws", "08")) {
    zeroCounts_[place.scale] = RoundToLong(TagData);
  }
}

/// A zero byte ends the text, as in all texts of the terminal.
void TarnScaleDiagData::SetCharArrayData(std::vector<std::uint8_t>& TagData, std::int16_t dataLen,
                                         const TagInfo& myTagInfo) {
  const TagPlace place(Required(myTagInfo).TagName());
  if (place.scale == 0 || !place.Is("ws", "13")) return;
  const auto length = std::min<std::size_t>(
      TagData.size(), static_cast<std::size_t>(std::max<std::int16_t>(dataLen, 0)));
  const auto start = TagData.begin();
  const auto end = std::find(start, start + static_cast<std::ptrdiff_t>(length), std::uint8_t{0});
  lastError_[place.scale] = locale_.FromBytes(std::string(start, end));
}

std::vector<NamedValue> TarnScaleDiagData::NamedValues() const {
  return {
      Named("ScaleCalZeroCounts", ScaleCalZeroCountsArray()),
      Named("ScaleCurrentZeroCounts", ScaleCurrentZeroCountsArray()),
      Named("ScaleCalHighCounts", ScaleCalHighCountsArray()),
      Named("ScaleCalHighWeight", ScaleCalHighWeightArray()),
      Named("ScaleCalMidCounts", ScaleCalMidCountsArray()),
      Named("ScaleCalMidWeight", ScaleCalMidWeightArray()),
      Named("ScaleCriticalError", ScaleCriticalErrorArray()),
      Named("LastScaleError", LastScaleErrorArray()),
      Named("ScaleErrorCounter", ScaleErrorCounterArray()),
      Named("WeighmentCounter", WeighmentCounterArray()),
      Named("ScaleOverloadCounter", ScaleOverloadCounterArray()),
      Named("ScaleImpactCounter", ScaleImpactCounterArray()),
      Named("ScaleZeroCounter", ScaleZeroCounterArray()),
      Named("ScaleZeroFailCounter", ScaleZeroFailCounterArray()),
  };
}

}  // namespace tarn
