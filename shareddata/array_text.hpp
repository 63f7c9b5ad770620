// The values of an array as one text, for people.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>

#include "scale/named_value.hpp"

namespace tarn {

/// The elements up to the last that is not 0, and at least one, with blanks between; "-" stands for
/// an empty text.
template <class Value, std::size_t kCount>
NamedValue Named(const char* name, const std::array<Value, kCount>& values) {
  const auto last = std::find_if(values.rbegin(), values.rend(),
                                 [](const Value& value) { return value != Value{}; });
  const auto count = std::max<std::size_t>(static_cast<std::size_t>(values.rend() - last), 1);
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    if (i > 0) text += ' ';
    if constexpr (std::is_same_v<Value, std::string>)
      text += values[i].empty() ? "-" : values[i];
    else
      text += std::to_string(values[i]);
  }
  return {name, std::move(text)};
}

}  // namespace tarn
