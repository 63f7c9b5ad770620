// The published form of a row of values: by number from 1, and whole.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/automation_error.hpp"

namespace tarn {

/// Numbers 1 to kCount; any other is error 9.
template <class Value, std::size_t kCount>
class IndexedValues {
 public:
  using Array = std::array<Value, kCount>;

  const Value& operator[](std::int32_t number) const { return values_[Position(number)]; }
  Value& operator[](std::int32_t number) { return values_[Position(number)]; }
  const Array& All() const { return values_; }
  void Clear() { values_.fill(Value{}); }

 private:
  static std::size_t Position(std::int32_t number) {
    if (number < 1 || number > static_cast<std::int32_t>(kCount)) ThrowSubscriptOutOfRange();
    return static_cast<std::size_t>(number - 1);
  }

  Array values_{};
};

}  // namespace tarn
