// Numbers and their texts: how the system reads numbers from received characters, converts texts
// by the user's locale, writes numbers and rounds them. Written once, used everywhere.
//
// Texts are UTF-8; the separators of a locale are given as texts since some are more than a byte.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarn {

/// Rounds to the nearest whole number, halves to the even one (2.5 gives 2, 3.5 gives 4).
double RoundHalfEven(double value);

/// RoundHalfEven as a 32-bit integer. Error 6 where it does not fit or is not a number.
std::int32_t RoundToLong(double value);

/// The numeric prefix of a text: leading blanks and blanks between digits are skipped, reading
/// stops at the first character that cannot continue a number, a text without digits reads as 0.
/// A sign in front, digits, one "." and then an exponent (E or D, either case, 12E3 is 12000)
/// continue a number; an exponent without digits does not count. That received digits may hold an
/// exponent is deliberate, also where they are cut into fixed places. The point is always ".",
/// whatever the locale, and grouping ends the number. Error 6 beyond the range.
double NumericPrefix(std::string_view text);

/// A received number with the user's decimal separator: what stands from the last "." on, or from
/// the last "," where there is no point, has its first "." replaced. So the last point becomes the
/// separator, and a text with commas alone deliberately comes back as it was.
std::string LocalizeDecimal(std::string_view text, std::string_view decimalSeparator);

/// A whole text as a number by the locale: blanks around it (no other white space), a sign, digits,
/// one decimal separator and an exponent with E are understood; grouping is not. Nothing where the
/// text is anything else.
std::optional<double> LocaleNumber(std::string_view text, std::string_view decimalSeparator);

/// A text that is a whole number (blanks around it and a sign allowed) as a 32-bit integer.
/// Error 13 where it is not a number, 6 where it does not fit.
std::int32_t WholeNumber(std::string_view text);

/// The shortest general text of a number: at most 15 significant digits, no grouping, an exponent
/// only where the digits run out (1E+15, 1E-05).
std::string GeneralNumberText(double value, std::string_view decimalSeparator = ".");

/// A number-format pattern: literal text in front, "0" a digit always shown, "#" a digit shown when
/// significant, "," grouping by thousands, "." the decimal point. Parsed once, at compile time for
/// the tables of the protocols.
struct NumberPattern {
  std::string_view prefix;   ///< literal characters in front of the number
  int wholeDigits = 0;       ///< digits before the point that are always shown
  int fixedDecimals = 0;     ///< digits after the point that are always shown
  int optionalDecimals = 0;  ///< further digits after the point, shown when significant
  bool grouping = false;
  bool hasPoint = false;

  constexpr NumberPattern() = default;
  /// Implicit, so that a pattern is written as its text.
  constexpr NumberPattern(const char* text) : NumberPattern(std::string_view(text)) {}
  constexpr explicit NumberPattern(std::string_view text) {
    std::size_t start = 0;
    while (start < text.size() && !IsPatternCharacter(text[start])) ++start;
    prefix = text.substr(0, start);
    for (const char c : text.substr(start)) {
      if (c == ',')
        grouping = true;
      else if (c == '.')
        hasPoint = true;
      else if (c == '0')
        ++(hasPoint ? fixedDecimals : wholeDigits);
      else if (c == '#' && hasPoint)
        ++optionalDecimals;
    }
  }

 private:
  static constexpr bool IsPatternCharacter(char c) {
    return c == '#' || c == '0' || c == ',' || c == '.';
  }
};

/// The text of a number by a pattern. A negative value shows a leading minus sign; the point of the
/// pattern becomes the given separator.
std::string FormatNumber(double value, const NumberPattern& pattern,
                         std::string_view decimalSeparator = ".",
                         std::string_view groupSeparator = ",");

/// Lower case of the ASCII letters; other bytes stay.
std::string AsciiLower(std::string_view text);
bool EqualIgnoringCase(std::string_view a, std::string_view b);

}  // namespace tarn
