#include "tools/tarnsim/graduation.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/number_text.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

constexpr int kMostDecimals = 5;
constexpr int kMostDummyZeros = 4;
constexpr double kBeyondAnyDisplay = 1e9;
constexpr std::array<double, kMostDecimals + 1> kPowersOfTen{1, 10, 100, 1000, 10'000, 100'000};
constexpr std::array<std::string_view, 8> kUnitsTexts{"kg", "lb",  "g",   "t",
                                                      "oz", "ozt", "dwt", "ton"};

double PowerOfTen(int exponent) {
  const double power = kPowersOfTen[static_cast<std::size_t>(std::abs(exponent))];
  return exponent < 0 ? 1 / power : power;
}

/// increment times ten to the exponent
struct DivisionParts {
  int increment = 0;
  int exponent = 0;
};

DivisionParts TakeApart(double division) {
  for (int exponent = -kMostDecimals; exponent <= kMostDummyZeros; ++exponent) {
    for (const int increment : {1, 2, 5}) {
      const double candidate = increment * PowerOfTen(exponent);
      if (std::abs(division - candidate) < candidate * 1e-6) return {increment, exponent};
    }
  }
  throw UsageError("A division of " + GeneralNumberText(division) +
                   " is not possible: take 1, 2 or 5 times a power of ten, from 0.00001 to 50000");
}

}  // namespace

std::string_view UnitsText(Units units) {
  return kUnitsTexts[static_cast<std::size_t>(units)];
}

Units UnitsOf(std::string_view text) {
  const auto* const found = std::find(kUnitsTexts.begin(), kUnitsTexts.end(), text);
  if (found == kUnitsTexts.end()) {
    throw UsageError("Unknown units \"" + std::string(text) +
                     "\": take kg, lb, g, t, oz, ozt, dwt or ton");
  }
  return static_cast<Units>(found - kUnitsTexts.begin());
}

double Graduation::Weight(std::int32_t digits) const {
  return digits / PowerOfTen(decimals);
}

std::int32_t Graduation::Digits(double weight) const {
  const double digits =
      std::clamp(weight * PowerOfTen(decimals), -kBeyondAnyDisplay, kBeyondAnyDisplay);
  return static_cast<std::int32_t>(std::lround(digits / step)) * step;
}

std::string Graduation::Text(std::int32_t digits) const {
  const auto behindPoint = static_cast<std::size_t>(decimals);
  std::string shown = std::to_string(std::abs(digits));
  if (shown.size() <= behindPoint) shown.insert(0, behindPoint + 1 - shown.size(), '0');
  std::string text;
  if (digits < 0) text += '-';
  text.append(shown, 0, shown.size() - behindPoint);
  if (behindPoint == 0) return text;
  text += '.';
  text.append(shown, shown.size() - behindPoint);
  return text;
}

Graduation MakeGraduation(double capacity, double division, std::optional<int> decimals) {
  const DivisionParts parts = TakeApart(division);
  const int needed = std::max(0, -parts.exponent);
  Graduation graduation;
  graduation.increment = parts.increment;
  graduation.decimals = decimals.value_or(needed);
  if (graduation.decimals < needed || graduation.decimals > kMostDecimals) {
    throw UsageError("A division of " + GeneralNumberText(division) + " needs " +
                     std::to_string(needed) + " to " + std::to_string(kMostDecimals) + " decimals");
  }
  const double digitsPerUnit = PowerOfTen(graduation.decimals);
  const double step = std::round(division * digitsPerUnit);
  const double capacityDigits = std::round(capacity * digitsPerUnit);
  // The range ends nine divisions above the capacity, and must be shown up to there.
  if (!(capacityDigits >= step && capacityDigits + 9 * step <= Graduation::kLargestDisplay)) {
    throw UsageError("A capacity of " + GeneralNumberText(capacity) + " by " +
                     GeneralNumberText(division) + " with " + std::to_string(graduation.decimals) +
                     " decimals does not fit on six digits: take another division or capacity");
  }
  graduation.step = static_cast<std::int32_t>(step);
  graduation.capacity = static_cast<std::int32_t>(capacityDigits);
  return graduation;
}

}  // namespace tarn::sim
