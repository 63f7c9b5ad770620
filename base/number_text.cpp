#include "base/number_text.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "base/automation_error.hpp"

namespace tarn {
namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
/// Deliberately the blank alone: a tab or a line end is no part of a number.
bool IsBlank(char c) {
  return c == ' ';
}

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

/// A cleaned text of sign, digits, point and exponent as a number. Error 6 beyond the range.
double ParseDigits(std::string_view digits) {
  double value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error == std::errc::result_out_of_range) {
    // Too small is 0; too large is the error. The exponent's sign tells them apart.
    const auto exponent = digits.find_first_of("eE");
    const bool tiny = exponent != std::string_view::npos && digits[exponent + 1] == '-';
    if (!tiny) ThrowOverflow();
    return 0;
  }
  return value;
}

/// Digits of a magnitude with a fixed number of decimals, halves away from zero, no point in them.
std::string ScaledDigits(double magnitude, int decimals) {
  static constexpr std::array<double, 10> kPowers = {1,   1e1, 1e2, 1e3, 1e4,
                                                     1e5, 1e6, 1e7, 1e8, 1e9};
  static constexpr double kExact = 9007199254740992.0;  // 2^53
  if (decimals < static_cast<int>(kPowers.size())) {
    const double scaled = std::round(magnitude * kPowers[static_cast<std::size_t>(decimals)]);
    if (scaled < kExact) {
      std::array<char, 24> buffer{};
      const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(),
                                     static_cast<std::uint64_t>(scaled));
      return {buffer.data(), end.ptr};
    }
  }
  std::array<char, 400> buffer{};
  const int length = std::snprintf(buffer.data(), buffer.size(), "%.*f", decimals, magnitude);
  std::string digits(buffer.data(), static_cast<std::size_t>(length));
  std::erase_if(digits, [](char c) { return !IsDigit(c); });
  const auto first = digits.find_first_not_of('0');
  return first == std::string::npos ? "0" : digits.substr(first);
}

}  // namespace

double RoundHalfEven(double value) {
  const double below = std::floor(value);
  const double fraction = value - below;
  if (fraction < 0.5) return below;
  if (fraction > 0.5) return below + 1;
  return std::fmod(below, 2) == 0 ? below : below + 1;
}

std::int32_t RoundToLong(double value) {
  const double rounded = RoundHalfEven(value);
  // Written so that "not a number" fails as well.
  if (!(rounded >= std::numeric_limits<std::int32_t>::min() &&
        rounded <= std::numeric_limits<std::int32_t>::max())) {
    ThrowOverflow();
  }
  return static_cast<std::int32_t>(rounded);
}

double NumericPrefix(std::string_view text) {
  std::string digits;
  bool anyDigit = false;
  bool point = false;
  std::size_t i = 0;
  const auto skipBlanks = [&] {
    while (i < text.size() && IsBlank(text[i])) ++i;
  };

  skipBlanks();
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
    if (text[i] == '-') digits.push_back('-');
    ++i;
  }
  for (skipBlanks(); i < text.size(); ++i, skipBlanks()) {
    if (IsDigit(text[i]))
      anyDigit = true;
    else if (text[i] == '.' && !point)
      point = true;
    else
      break;
    digits.push_back(text[i]);
  }
  if (!anyDigit) return 0;

  if (i < text.size() && (text[i] == 'E' || text[i] == 'e' || text[i] == 'D' || text[i] == 'd')) {
    std::string exponent = "e";
    ++i;
    skipBlanks();
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) exponent.push_back(text[i++]);
    const std::size_t signLength = exponent.size();
    for (skipBlanks(); i < text.size() && IsDigit(text[i]); ++i, skipBlanks()) {
      exponent.push_back(text[i]);
    }
    if (exponent.size() > signLength) digits += exponent;
  }
  return ParseDigits(digits);
}

std::string LocalizeDecimal(std::string_view text, std::string_view decimalSeparator) {
  std::string localized(text);
  // Only the last point can be the first one from itself on; from a comma on there is none.
  const auto point = text.rfind('.');
  if (point != std::string_view::npos) localized.replace(point, 1, decimalSeparator);
  return localized;
}

std::optional<double> LocaleNumber(std::string_view text, std::string_view decimalSeparator) {
  text = TrimBlanks(text);
  std::string digits;
  bool anyDigit = false;
  bool point = false;
  std::size_t i = 0;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
    if (text[i] == '-') digits.push_back('-');
    ++i;
  }
  while (i < text.size()) {
    if (IsDigit(text[i])) {
      anyDigit = true;
      digits.push_back(text[i++]);
    } else if (!point && !decimalSeparator.empty() &&
               text.substr(i).starts_with(decimalSeparator)) {
      point = true;
      digits.push_back('.');
      i += decimalSeparator.size();
    } else {
      break;
    }
  }
  if (!anyDigit) return std::nullopt;
  if (i < text.size()) {
    if (text[i] != 'E' && text[i] != 'e') return std::nullopt;
    digits.push_back('e');
    ++i;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) digits.push_back(text[i++]);
    if (i == text.size() || text.find_first_not_of("0123456789", i) != std::string_view::npos) {
      return std::nullopt;
    }
    digits += text.substr(i);
  }
  try {
    return ParseDigits(digits);
  } catch (const AutomationError&) {
    return std::nullopt;
  }
}

std::int32_t WholeNumber(std::string_view text) {
  const std::string_view trimmed = TrimBlanks(text);
  std::string_view digits = trimmed;
  if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) digits.remove_prefix(1);
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos) {
    ThrowTypeMismatch();
  }
  std::int32_t value = 0;
  const std::string_view number = trimmed.front() == '+' ? digits : trimmed;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (error != std::errc{}) ThrowOverflow();
  return value;
}

std::string GeneralNumberText(double value, std::string_view decimalSeparator) {
  if (value == 0) return "0";  // no minus sign on a zero
  std::array<char, 40> buffer{};
  const int length = std::snprintf(buffer.data(), buffer.size(), "%.15G", value);
  std::string text(buffer.data(), static_cast<std::size_t>(length));
  // snprintf follows the C locale of the process, which the program never changes from "C".
  if (const auto point = text.find('.'); point != std::string::npos) {
    text.replace(point, 1, decimalSeparator);
  }
  return text;
}

std::string FormatNumber(double value, const NumberPattern& pattern,
                         std::string_view decimalSeparator, std::string_view groupSeparator) {
  const int decimals = pattern.fixedDecimals + pattern.optionalDecimals;
  std::string digits = ScaledDigits(std::fabs(value), decimals);

  // A zero in front of the point is shown only when the pattern asks for it.
  const auto pointAt = static_cast<std::size_t>(decimals);
  std::string whole =
      digits.size() > pointAt ? digits.substr(0, digits.size() - pointAt) : std::string();
  std::string fraction = digits.substr(whole.size());
  fraction.insert(0, pointAt - fraction.size(), '0');
  if (whole == "0") whole.clear();
  const auto least = static_cast<std::size_t>(pattern.wholeDigits);
  if (whole.size() < least) whole.insert(0, least - whole.size(), '0');
  if (pattern.grouping && whole.size() > 3) {
    for (std::size_t at = whole.size() - 3;; at -= 3) {
      whole.insert(at, groupSeparator);
      if (at <= 3) break;
    }
  }
  while (fraction.size() > static_cast<std::size_t>(pattern.fixedDecimals) &&
         fraction.back() == '0') {
    fraction.pop_back();
  }

  std::string text;
  text.reserve(pattern.prefix.size() + whole.size() + fraction.size() + 4);
  if (value < 0) text.push_back('-');
  text += pattern.prefix;
  text += whole;
  if (pattern.hasPoint) {
    text += decimalSeparator;
    text += fraction;
  }
  return text;
}

std::string AsciiLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  const auto lower = [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace tarn
