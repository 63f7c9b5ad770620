#include "shareddata/tag_value.hpp"

#include <cmath>
#include <limits>
#include <type_traits>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"

namespace tarn {
namespace {

template <class Whole>
Whole ToWhole(const TagValue& value, std::string_view decimalSeparator) {
  const std::int32_t rounded = RoundToLong(ToNumber(value, decimalSeparator));
  if (rounded < std::numeric_limits<Whole>::min() || rounded > std::numeric_limits<Whole>::max()) {
    ThrowOverflow();
  }
  return static_cast<Whole>(rounded);
}

}  // namespace

double ToNumber(const TagValue& value, std::string_view decimalSeparator) {
  return std::visit(
      [&](const auto& held) -> double {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Held, std::monostate>) {
          return 0;
        } else if constexpr (std::is_same_v<Held, bool>) {
          return held ? -1 : 0;
        } else if constexpr (std::is_arithmetic_v<Held>) {
          return static_cast<double>(held);
        } else if constexpr (std::is_same_v<Held, std::string>) {
          if (const auto number = LocaleNumber(held, decimalSeparator)) return *number;
        }
        ThrowTypeMismatch();
      },
      value);
}

bool ToBoolean(const TagValue& value, std::string_view decimalSeparator) {
  if (const auto* text = std::get_if<std::string>(&value)) {
    if (EqualIgnoringCase(*text, "True")) return true;
    if (EqualIgnoringCase(*text, "False")) return false;
  }
  return ToNumber(value, decimalSeparator) != 0;
}

std::uint8_t ToByte(const TagValue& value, std::string_view decimalSeparator) {
  return ToWhole<std::uint8_t>(value, decimalSeparator);
}
std::int16_t ToInteger(const TagValue& value, std::string_view decimalSeparator) {
  return ToWhole<std::int16_t>(value, decimalSeparator);
}
std::int32_t ToLong(const TagValue& value, std::string_view decimalSeparator) {
  return ToWhole<std::int32_t>(value, decimalSeparator);
}

float ToFloat(const TagValue& value, std::string_view decimalSeparator) {
  const double number = ToNumber(value, decimalSeparator);
  if (std::isfinite(number) && std::fabs(number) > std::numeric_limits<float>::max()) {
    ThrowOverflow();
  }
  return static_cast<float>(number);
}

std::string ToText(const TagValue& value, std::string_view decimalSeparator) {
  if (IsEmpty(value)) return {};
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  if (const auto* flag = std::get_if<bool>(&value)) return *flag ? "True" : "False";
  return GeneralNumberText(ToNumber(value, decimalSeparator), decimalSeparator);
}

}  // namespace tarn
