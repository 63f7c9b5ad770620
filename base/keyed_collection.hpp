// A collection in order of adding, whose items may carry a text key. Keys compare without regard
// to case.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"

namespace tarn {

template <class Value>
class KeyedCollection {
 public:
  std::size_t Count() const { return items_.size(); }

  /// An empty key means none. Error 457 when the key is present already.
  void Add(Value value, std::string key = {}) {
    if (!key.empty() && Find(key) != nullptr) {
      throw AutomationError(ErrorNumber::KeyAlreadyPresent,
                            "This key is already in the collection: " + key);
    }
    items_.emplace_back(std::move(key), std::move(value));
  }

  /// Null when no item carries the key.
  const Value* Find(std::string_view key) const {
    for (const auto& [itemKey, value] : items_) {
      if (!itemKey.empty() && EqualIgnoringCase(itemKey, key)) return &value;
    }
    return nullptr;
  }

  /// Positions count from 1. Null where there is none.
  const Value* At(std::size_t position) const {
    return position >= 1 && position <= items_.size() ? &items_[position - 1].second : nullptr;
  }

  /// Error 9 where the position does not exist.
  void Remove(std::size_t position) {
    if (position < 1 || position > items_.size()) ThrowSubscriptOutOfRange();
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(position - 1));
  }

 private:
  std::vector<std::pair<std::string, Value>> items_;
};

}  // namespace tarn
