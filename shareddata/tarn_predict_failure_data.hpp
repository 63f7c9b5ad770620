// Which digital load cells of a terminal drift, fail or have been replaced.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "shareddata/cell_values.hpp"
#include "shareddata/sd_tag_info.hpp"
#include "shareddata/terminal_data.hpp"

namespace tarn {

/// Cells are numbered 1 to 24, entries 1 to 4; any other number is error 9. Status bytes are the
/// terminal's own, passed through unchanged.
class TarnPredictFailureData final : public TerminalData {
 public:
  static constexpr std::string_view kClassName = "TarnPredictFailureData";
  static constexpr std::size_t kEntries = 4;
  using EntryBytes = IndexedValues<std::uint8_t, kEntries>;
  using EntryBooleans = IndexedValues<bool, kEntries>;

  std::string_view ClassName() const override { return kClassName; }

  // Published members, in the order of the interface.

  std::int16_t MaxNumCells() const { return kMaxCells; }
  std::int16_t NumberActiveCells() const { return scanTable_.NumberActiveCells(); }
  std::uint8_t ScanTableCellAddress(std::int16_t nIndex) const {
    return scanTable_.Addresses()[nIndex];
  }
  const CellBytes::Array& ScanTable() const { return scanTable_.Addresses().All(); }
  std::uint8_t ReplacementCell(std::int16_t nIndex) const { return replacementCell_[nIndex]; }
  const EntryBytes::Array& ReplacementCellArray() const { return replacementCell_.All(); }
  std::uint8_t BadCell(std::int16_t nIndex) const { return badCell_[nIndex]; }
  const EntryBytes::Array& BadCellArray() const { return badCell_.All(); }
  std::uint8_t SymmetryFailure(std::int16_t nIndex) const { return symmetryFailure_[nIndex]; }
  const EntryBytes::Array& SymmetryFailureArray() const { return symmetryFailure_.All(); }
  bool EstimatingWeightStatus(std::int16_t nIndex) const { return estimating_[nIndex]; }
  const EntryBooleans::Array& EstimatingWeightStatusArray() const { return estimating_.All(); }
  std::uint8_t CellZeroDriftStatus(std::int16_t nIndex) const { return zeroDrift_[nIndex]; }
  const CellBytes::Array& CellZeroDriftStatusArray() const { return zeroDrift_.All(); }
  std::int32_t CellSymFailCounter(std::int16_t nIndex) const { return symFailures_[nIndex]; }
  const CellLongs::Array& CellSymFailCounterArray() const { return symFailures_.All(); }
  std::int32_t CellZeroDriftCounter(std::int16_t nIndex) const { return zeroDrifts_[nIndex]; }
  const CellLongs::Array& CellZeroDriftCounterArray() const { return zeroDrifts_.All(); }

  // What the engine calls.

  void SetBitData(bool TagData, const TagInfo& myTagInfo) override;
  void SetByteData(std::uint8_t TagData, const TagInfo& myTagInfo) override;
  void SetCharArrayData(std::vector<std::uint8_t>& TagData, std::int16_t dataLen,
                        const TagInfo& myTagInfo) override;
  void SetLongData(std::int32_t TagData, std::int16_t dataIndex, const TagInfo& myTagInfo) override;

  std::vector<NamedValue> NamedValues() const override;

 private:
  void Clear() override;

  tarn::ScanTable scanTable_;
  CellBytes zeroDrift_;
  CellLongs symFailures_;
  CellLongs zeroDrifts_;
  EntryBooleans estimating_;
  EntryBytes symmetryFailure_;
  EntryBytes badCell_;
  EntryBytes replacementCell_;
};

}  // namespace tarn
