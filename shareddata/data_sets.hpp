// Which configuration and data object belong to which dialect of the polling engine.
#pragma once

#include <array>
#include <string_view>

#include "scale/enumerations.hpp"

namespace tarn {

/// Class names, as the registry knows them.
struct DataSet {
  ProtocolType type;
  std::string_view configuration;
  std::string_view data;
};

inline constexpr std::array<DataSet, 4> kDataSets = {{
    {ProtocolType::OrbixDiagDataType, "TarnOrbixDiagConfig", "TarnOrbixDiagData"},
    {ProtocolType::PredictFailureDataType, "TarnPredictFailureConfig", "TarnPredictFailureData"},
    {ProtocolType::ScaleDiagDataType, "TarnScaleDiagConfig", "TarnScaleDiagData"},
    {ProtocolType::KesBasicDataType, "TarnKesBasicConfig", "TarnKesBasicData"},
}};

/// Null for a dialect without a data set.
constexpr const DataSet* FindDataSet(ProtocolType type) {
  for (const DataSet& set : kDataSets) {
    if (set.type == type) return &set;
  }
  return nullptr;
}

}  // namespace tarn
