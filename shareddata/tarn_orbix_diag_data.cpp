#include "shareddata/tarn_orbix_diag_data.hpp"

#include "shareddata/array_text.hpp"
#include "shareddata/tarn_orbix_diag_config.hpp"

namespace tarn {

void TarnOrbixDiagData::Clear() {
  scanTable_.Clear();
  counts_.Clear();
  errorNumbers_.Clear();
  overloads_.Clear();
}

void TarnOrbixDiagData::SetCharArrayData(std::vector<std::uint8_t>& TagData, std::int16_t dataLen,
                                         const TagInfo& myTagInfo) {
  const std::string& index = Required(myTagInfo).EasyIndex();
  if (index == TarnOrbixDiagConfig::kErrorNumbers) {
    FileCells(TagData, dataLen, errorNumbers_);
  } else if (index == TarnOrbixDiagConfig::kOverloadStatus) {
    FileCells(TagData, dataLen, overloads_);
  } else if (index == TarnOrbixDiagConfig::kScanTable) {
    scanTable_.File(TagData);
    ConfigChanged.Raise();
  }
}

void TarnOrbixDiagData::SetLongData(std::int32_t TagData, std::int16_t dataIndex,
                                    const TagInfo& myTagInfo) {
  if (Required(myTagInfo).EasyIndex() == TarnOrbixDiagConfig::kCounts) {
    counts_[dataIndex + 1] = TagData;
  }
}

std::vector<NamedValue> TarnOrbixDiagData::NamedValues() const {
  return {
      Named("ScanTable", ScanTable()),
      Named("CellCounts", CellCountsArray()),
      Named("CellErrorNumber", CellErrorNumberArray()),
      Named("CellOverloadStatus", CellOverloadStatusArray()),
  };
}

}  // namespace tarn
