// Values of the load cells of a terminal, 1 to 24.
#pragma once

#include <cstdint>
#include <vector>

#include "shareddata/indexed_values.hpp"

namespace tarn {

inline constexpr std::int16_t kMaxCells = 24;
using CellBytes = IndexedValues<std::uint8_t, kMaxCells>;
using CellLongs = IndexedValues<std::int32_t, kMaxCells>;

/// One byte a cell; cells beyond the length become 0. Error 9 where the bytes are fewer than the
/// length says.
void FileCells(const std::vector<std::uint8_t>& bytes, std::int32_t length, CellBytes& cells);

/// Which cells the terminal scans: the address of each, 0 for none.
class ScanTable {
 public:
  /// Always takes a byte for every cell, whatever length is given; error 9 where there are fewer.
  void File(const std::vector<std::uint8_t>& bytes);
  void Clear();
  const CellBytes& Addresses() const { return addresses_; }
  std::int16_t NumberActiveCells() const { return activeCells_; }

 private:
  CellBytes addresses_;
  std::int16_t activeCells_ = 0;
};

}  // namespace tarn
