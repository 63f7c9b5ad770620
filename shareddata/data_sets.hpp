// Which configuration and data object belong to which dialect of the polling engine: one row a
// terminal data set.
#pragma once

#include <span>

#include "scale/class_row.hpp"
#include "scale/enumerations.hpp"

namespace tarn {

struct DataSet {
  ProtocolType type;
  ClassRow configuration;
  ClassRow data;
};

std::span<const DataSet> DataSets();

/// Null for a dialect without a data set.
const DataSet* FindDataSet(ProtocolType type);

}  // namespace tarn
