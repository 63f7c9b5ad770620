// The value of a terminal variable, of whatever kind, and how one kind becomes another.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tarn {

/// What a client keeps in a tag without the core having a use for it: an object, or a value of a
/// kind that no terminal knows.
class ForeignValue {
 public:
  ForeignValue() = default;
  ForeignValue(const ForeignValue&) = delete;
  ForeignValue& operator=(const ForeignValue&) = delete;
  virtual ~ForeignValue() = default;
};

/// Texts are UTF-8.
using TagValue =
    std::variant<std::monostate, bool, std::uint8_t, std::int16_t, std::int32_t, float, double,
                 std::string, std::vector<std::uint8_t>, std::shared_ptr<ForeignValue>>;

inline bool IsEmpty(const TagValue& value) {
  return std::holds_alternative<std::monostate>(value);
}

// Conversions as Automation makes them: True is -1, nothing is 0 or an empty text, texts are read
// by the user's decimal separator, whole numbers are rounded half to even. Error 13 for what does
// not convert, 6 beyond the range of the result.

double ToNumber(const TagValue& value, std::string_view decimalSeparator);
bool ToBoolean(const TagValue& value, std::string_view decimalSeparator);
std::uint8_t ToByte(const TagValue& value, std::string_view decimalSeparator);
std::int16_t ToInteger(const TagValue& value, std::string_view decimalSeparator);
std::int32_t ToLong(const TagValue& value, std::string_view decimalSeparator);
float ToFloat(const TagValue& value, std::string_view decimalSeparator);
std::string ToText(const TagValue& value, std::string_view decimalSeparator);

}  // namespace tarn
