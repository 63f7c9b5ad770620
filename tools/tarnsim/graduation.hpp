// How a scale divides its weighing range, and the units that it shows.
//
// Weights are counted in display digits: the number on the display, read without its point. With
// two decimals, 12.50 kg are 1250 display digits; with a division of 0.05 kg one division is 5 of
// them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::sim {

enum class Units { Kilogram, Pound, Gram, Tonne, Ounce, TroyOunce, Pennyweight, Ton };

/// Returns the name of the units, as on a display and on the command line.
std::string_view UnitsText(Units units);
/// Throws UsageError for an unknown name.
Units UnitsOf(std::string_view text);

struct Graduation {
  static constexpr std::int32_t kLargestDisplay = 999'999;

  int increment = 1;            ///< by which the last changing digit counts: 1, 2 or 5
  std::int32_t step = 1;        ///< display digits in one division
  int decimals = 0;             ///< digits behind the point
  std::int32_t capacity = 100;  ///< display digits

  /// A number of display digits as a weight.
  double Weight(std::int32_t digits) const;
  /// One division as a weight.
  double Division() const { return Weight(step); }
  /// The nearest whole division, in display digits.
  std::int32_t Digits(double weight) const;
  /// Display digits with sign and point.
  std::string Text(std::int32_t digits) const;
};

/// Without `decimals` the display has as many as the division needs. Throws UsageError for a
/// division that is not 1, 2 or 5 times a power of ten, and when six digits are not enough.
Graduation MakeGraduation(double capacity, double division, std::optional<int> decimals);

}  // namespace tarn::sim
