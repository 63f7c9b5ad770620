#include "shareddata/cell_values.hpp"

#include <cstddef>

namespace tarn {
namespace {

/// Counted from 1.
std::uint8_t ByteOf(const std::vector<std::uint8_t>& bytes, std::int32_t number) {
  if (static_cast<std::size_t>(number) > bytes.size()) ThrowSubscriptOutOfRange();
  return bytes[static_cast<std::size_t>(number - 1)];
}

}  // namespace

void FileCells(const std::vector<std::uint8_t>& bytes, std::int32_t length, CellBytes& cells) {
  for (std::int32_t cell = 1; cell <= kMaxCells; ++cell) {
    cells[cell] = cell > length ? std::uint8_t{0} : ByteOf(bytes, cell);
  }
}

void ScanTable::File(const std::vector<std::uint8_t>& bytes) {
  activeCells_ = 0;
  for (std::int32_t cell = 1; cell <= kMaxCells; ++cell) {
    addresses_[cell] = ByteOf(bytes, cell);
    if (addresses_[cell] != 0) ++activeCells_;
  }
}

void ScanTable::Clear() {
  addresses_.Clear();
  activeCells_ = 0;
}

}  // namespace tarn
