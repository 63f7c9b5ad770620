// Counts, errors and overloads of the load cells of a terminal.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "shareddata/cell_values.hpp"
#include "shareddata/sd_tag_info.hpp"
#include "shareddata/terminal_data.hpp"

namespace tarn {

/// Cells are numbered 1 to 24; any other number is error 9. Error numbers and overload status are
/// the terminal's own, passed through unchanged.
class TarnOrbixDiagData final : public TerminalData {
 public:
  static constexpr std::string_view kClassName = "TarnOrbixDiagData";

  std::string_view ClassName() const override { return kClassName; }

  // Published members, in the order of the interface.

  std::int16_t MaxNumCells() const { return kMaxCells; }
  std::int16_t NumberActiveCells() const { return scanTable_.NumberActiveCells(); }
  std::uint8_t ScanTableCellAddress(std::int16_t nIndex) const {
    return scanTable_.Addresses()[nIndex];
  }
  const CellBytes::Array& ScanTable() const { return scanTable_.Addresses().All(); }
  std::int32_t CellCounts(std::int16_t nIndex) const { return counts_[nIndex]; }
  const CellLongs::Array& CellCountsArray() const { return counts_.All(); }
  std::uint8_t CellErrorNumber(std::int16_t nIndex) const { return errorNumbers_[nIndex]; }
  const CellBytes::Array& CellErrorNumberArray() const { return errorNumbers_.All(); }
  std::uint8_t CellOverloadStatus(std::int16_t nIndex) const { return overloads_[nIndex]; }
  const CellBytes::Array& CellOverloadStatusArray() const { return overloads_.All(); }

  // What the engine calls. Tags are known by their easy index.

  /// A new scan table raises ConfigChanged.
  void SetCharArrayData(std::vector<std::uint8_t>& TagData, std::int16_t dataLen,
                        const TagInfo& myTagInfo) override;
  void SetLongData(std::int32_t TagData, std::int16_t dataIndex, const TagInfo& myTagInfo) override;

  std::vector<NamedValue> NamedValues() const override;

 private:
  void Clear() override;

  tarn::ScanTable scanTable_;
  CellLongs counts_;
  CellBytes errorNumbers_;
  CellBytes overloads_;
};

}  // namespace tarn
