// What a terminal reports about the calibration, the errors and the use of up to four scales.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "scale/scale_site.hpp"
#include "shareddata/indexed_values.hpp"
#include "shareddata/sd_tag_info.hpp"
#include "shareddata/terminal_data.hpp"

namespace tarn {

/// Scales are numbered 1 to 4; any other number is error 9.
class TarnScaleDiagData final : public TerminalData {
 public:
  static constexpr std::string_view kClassName = "TarnScaleDiagData";
  static constexpr std::size_t kScales = 4;
  using Longs = IndexedValues<std::int32_t, kScales>;
  using Texts = IndexedValues<std::string, kScales>;
  using Booleans = IndexedValues<bool, kScales>;

  explicit TarnScaleDiagData(ScaleSite& site);
  std::string_view ClassName() const override { return kClassName; }

  // Published members, in the order of the interface.

  std::int32_t ScaleCalZeroCounts(std::int16_t nIndex) const { return calZeroCounts_[nIndex]; }
  const Longs::Array& ScaleCalZeroCountsArray() const { return calZeroCounts_.All(); }
  std::int32_t ScaleCurrentZeroCounts(std::int16_t nIndex) const { return zeroCounts_[nIndex]; }
  const Longs::Array& ScaleCurrentZeroCountsArray() const { return zeroCounts_.All(); }
  /// No variable feeds it: always 0.
  std::int32_t ScaleCurrentCounts(std::int16_t nIndex) const { return counts_[nIndex]; }
  const Longs::Array& ScaleCurrentCountsArray() const { return counts_.All(); }
  std::int32_t ScaleCalHighCounts(std::int16_t nIndex) const { return calHighCounts_[nIndex]; }
  const Longs::Array& ScaleCalHighCountsArray() const { return calHighCounts_.All(); }
  /// Weights are texts with the user's decimal separator.
  const std::string& ScaleCalHighWeight(std::int16_t nIndex) const {
    return calHighWeight_[nIndex];
  }
  const Texts::Array& ScaleCalHighWeightArray() const { return calHighWeight_.All(); }
  std::int32_t ScaleCalMidCounts(std::int16_t nIndex) const { return calMidCounts_[nIndex]; }
  const Longs::Array& ScaleCalMidCountsArray() const { return calMidCounts_.All(); }
  const std::string& ScaleCalMidWeight(std::int16_t nIndex) const { return calMidWeight_[nIndex]; }
  const Texts::Array& ScaleCalMidWeightArray() const { return calMidWeight_.All(); }
  bool ScaleCriticalError(std::int16_t nIndex) const { return criticalError_[nIndex]; }
  const Booleans::Array& ScaleCriticalErrorArray() const { return criticalError_.All(); }
  const std::string& LastScaleError(std::int16_t nIndex) const { return lastError_[nIndex]; }
  const Texts::Array& LastScaleErrorArray() const { return lastError_.All(); }
  std::int32_t ScaleErrorCounter(std::int16_t nIndex) const { return errors_[nIndex]; }
  const Longs::Array& ScaleErrorCounterArray() const { return errors_.All(); }
  std::int32_t WeighmentCounter(std::int16_t nIndex) const { return weighments_[nIndex]; }
  const Longs::Array& WeighmentCounterArray() const { return weighments_.All(); }
  std::int32_t ScaleOverloadCounter(std::int16_t nIndex) const { return overloads_[nIndex]; }
  const Longs::Array& ScaleOverloadCounterArray() const { return overloads_.All(); }
  std::int32_t ScaleImpactCounter(std::int16_t nIndex) const { return impacts_[nIndex]; }
  const Longs::Array& ScaleImpactCounterArray() const { return impacts_.All(); }
  std::int32_t ScaleZeroCounter(std::int16_t nIndex) const { return zeroes_[nIndex]; }
  const Longs::Array& ScaleZeroCounterArray() const { return zeroes_.All(); }
  std::int32_t ScaleZeroFailCounter(std::int16_t nIndex) const { return zeroFailures_[nIndex]; }
  const Longs::Array& ScaleZeroFailCounterArray() const { return zeroFailures_.All(); }

  /// Declared for clients; no variable of this data set gives occasion to raise it.
  Event<> CaptureCountsError;

  // What the engine calls.

  void ResetState() override;
  void SetBitData(bool TagData, const TagInfo& myTagInfo) override;
  void SetByteData(std::uint8_t TagData, const TagInfo& myTagInfo) override;
  void SetCharArrayData(std::vector<std::uint8_t>& TagData, std::int16_t dataLen,
                        const TagInfo& myTagInfo) override;
  void SetLongData(std::int32_t TagData, std::int16_t dataIndex, const TagInfo& myTagInfo) override;
  void SetFloatData(float TagData, std::int16_t dataIndex, const TagInfo& myTagInfo) override;
  void SetDoubleData(double TagData, std::int16_t dataIndex, const TagInfo& myTagInfo) override;

  // What clients do not see.

  /// A character of the terminal's, "N" for a scale that is not there; 0 while it is not known.
  char ScaleKind(std::int16_t nIndex) const { return kind_[nIndex]; }
  std::uint8_t KindByte(std::int16_t nIndex) const { return kindByte_[nIndex]; }
  /// Counts every kind but "N" that arrives, up to the largest 16-bit number, from the last
  /// ResetState or clearing on.
  std::int16_t PresentScales() const { return presentScales_; }

  std::vector<NamedValue> NamedValues() const override;

 private:
  struct LongRule;

  void Clear() override;

  const UserLocale& locale_;
  Longs calZeroCounts_;
  Longs zeroCounts_;
  Longs counts_;
  Longs calHighCounts_;
  Texts calHighWeight_;
  Longs calMidCounts_;
  Texts calMidWeight_;
  Booleans criticalError_;
  Texts lastError_;
  Longs errors_;
  Longs weighments_;
  Longs overloads_;
  Longs impacts_;
  Longs zeroes_;
  Longs zeroFailures_;
  IndexedValues<char, kScales> kind_;
  IndexedValues<std::uint8_t, kScales> kindByte_;
  std::int16_t presentScales_ = 0;
};

}  // namespace tarn
