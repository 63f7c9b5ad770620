#include "shareddata/data_sets.hpp"

#include <array>

#include "scale/dialects.hpp"
#include "shareddata/tarn_kes_basic_config.hpp"
#include "shareddata/tarn_kes_basic_data.hpp"
#include "shareddata/tarn_orbix_diag_config.hpp"
#include "shareddata/tarn_orbix_diag_data.hpp"
#include "shareddata/tarn_predict_failure_config.hpp"
#include "shareddata/tarn_predict_failure_data.hpp"
#include "shareddata/tarn_scale_diag_config.hpp"
#include "shareddata/tarn_scale_diag_data.hpp"

namespace tarn {
namespace {

template <class Configuration, class Data>
constexpr DataSet Set(ProtocolType type) {
  return {type, RowOf<Configuration>(), RowOf<Data>()};
}

constexpr std::array kDataSets = {
    Set<TarnOrbixDiagConfig, TarnOrbixDiagData>(ProtocolType::OrbixDiagDataType),
    Set<TarnPredictFailureConfig, TarnPredictFailureData>(ProtocolType::PredictFailureDataType),
    Set<TarnScaleDiagConfig, TarnScaleDiagData>(ProtocolType::ScaleDiagDataType),
    Set<TarnKesBasicConfig, TarnKesBasicData>(ProtocolType::KesBasicDataType),
};
static_assert(CoversFamily(kDataSets, ProtocolClass::SummitDataClass), "one row a dialect");

}  // namespace

std::span<const DataSet> DataSets() {
  return kDataSets;
}

const DataSet* FindDataSet(ProtocolType type) {
  for (const DataSet& set : kDataSets) {
    if (set.type == type) return &set;
  }
  return nullptr;
}

}  // namespace tarn
