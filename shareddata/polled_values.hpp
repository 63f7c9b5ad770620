// Values of one kind in the order in which they first arrived.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "base/automation_error.hpp"

namespace tarn {

/// Numbered from 1; any other number is error 9.
template <class Value>
class PolledValues {
 public:
  /// More is error 6.
  static constexpr std::size_t kMost = 10000;

  /// Files an element (from 0) of a variable; true when the value is another than before.
  bool File(const std::string& easyIndex, std::int16_t element, const Value& value) {
    const std::pair place(easyIndex, element);
    const auto found = numbers_.find(place);
    if (found == numbers_.end()) {
      if (values_.size() >= kMost) ThrowOverflow();
      numbers_.emplace(place, values_.size());
      values_.push_back(value);
      return true;
    }
    const Value former = values_[found->second];
    values_[found->second] = value;
    const bool neitherIsNumber = former != former && value != value;
    return former != value && !neitherIsNumber;
  }

  Value At(std::int16_t number) const {
    if (number < 1 || static_cast<std::size_t>(number) > values_.size()) ThrowSubscriptOutOfRange();
    return values_[static_cast<std::size_t>(number - 1)];
  }
  const std::vector<Value>& All() const { return values_; }

  /// All become 0, False or empty; the numbers stay.
  void Clear() { values_.assign(values_.size(), Value{}); }
  void Forget() {
    numbers_.clear();
    values_.clear();
  }

 private:
  std::map<std::pair<std::string, std::int16_t>, std::size_t> numbers_;
  std::vector<Value> values_;
};

}  // namespace tarn
