#include "protocols/continuous_frame.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"
#include "scale/weight_data.hpp"

namespace tarn {
namespace {

/// How one decimal code builds the text of a weight from its digits: so many of them from the left,
/// a point, so many from the right; none from the left means all of them and no point.
struct Layout {
  std::size_t left;
  std::size_t right;
  NumberPattern pattern;
};

constexpr std::array<Layout, 8> kNetLayouts = {{
    {0, 0, "####000"},
    {0, 0, "#####00"},
    {0, 0, "######0"},
    {6, 1, "#####0.0"},
    {5, 2, "####0.00"},
    {4, 3, "###0.000"},
    {3, 4, "##0.0000"},
    {2, 5, "#0.00000"},
}};

constexpr std::array<Layout, 8> kGrossTareLayouts = {{
    {0, 0, "####000"},
    {0, 0, "#####00"},
    {0, 0, "######0"},
    {5, 1, "####0.0"},
    {4, 2, "###0.00"},
    {3, 3, "##0.000"},
    {2, 4, "#0.0000"},
    {1, 5, "0.00000"},
}};

constexpr NumberPattern kSixDigits = "000000";
constexpr NumberPattern kSevenDigits = "0000000";
constexpr NumberPattern kMinusSixDigits = "-000000";

constexpr std::array<std::string_view, 8> kUnits = {"lb",  "g",   "t",   "oz",
                                                    "ozt", "dwt", "ton", "--"};

std::string_view Right(std::string_view text, std::size_t count) {
  return text.substr(text.size() - std::min(text.size(), count));
}

/// The left and the right end are cut from separate texts, since one code takes them from two.
/// A text of seven characters, a negative gross, loses a digit between its two ends: deliberate. By
/// the corrected rules the point stands before the right end, however long the text is.
std::string WeightText(const Layout& layout, std::string_view leftText, std::string_view rightText,
                       std::string_view decimalSeparator, ReadingRules rules) {
  if (layout.left == 0) {
    return FormatNumber(NumericPrefix(rightText), layout.pattern, decimalSeparator);
  }
  const bool corrected = rules == ReadingRules::Corrected;
  std::string digits(leftText.substr(0, corrected ? leftText.size() - layout.right : layout.left));
  digits += '.';
  digits += Right(rightText, layout.right);
  return FormatNumber(NumericPrefix(digits), layout.pattern, decimalSeparator);
}

std::int32_t AddCounts(std::int32_t a, std::int32_t b) {
  std::int32_t sum = 0;
  if (__builtin_add_overflow(a, b, &sum)) ThrowOverflow();
  return sum;
}

}  // namespace

void ContinuousFrame::ReadStatusAndWeight(std::string_view text) {
  if (text.size() < 3) ThrowSubscriptOutOfRange();
  StatusA = static_cast<std::uint8_t>(text[0]);
  StatusB = static_cast<std::uint8_t>(text[1]);
  StatusC = static_cast<std::uint8_t>(text[2]);

  const double weight = NumericPrefix(text.substr(3, 6));
  RawWeight = FormatNumber(weight, Negative() ? kMinusSixDigits : kSevenDigits);
  WeightCounts = WholeNumber(RawWeight);

  DecimalCode = StatusA & 7U;
  UnitsCode = StatusC & 7U;
}

/// The gross is the tare plus the displayed weight, whether or not the terminal shows net.
void ContinuousFrame::ReadTareAndGross(std::string_view text) {
  const std::string_view tare = text.size() > 9 ? text.substr(9, 6) : std::string_view();
  TareText = FormatNumber(NumericPrefix(tare), kSixDigits);
  TareCounts = WholeNumber(TareText);
  GrossCounts = AddCounts(TareCounts, WeightCounts);
  GrossText = FormatNumber(GrossCounts, kSixDigits);
}

void ContinuousFrame::NoTareAndGross() {
  TareCounts = 0;
  TareText = kNoWeightText;
  GrossCounts = 0;
  GrossText = kNoWeightText;
}

std::string ContinuousFrame::NetWeight(std::string_view decimalSeparator) const {
  return WeightText(kNetLayouts[DecimalCode], RawWeight, RawWeight, decimalSeparator, Rules);
}

std::string ContinuousFrame::GrossWeight(std::string_view decimalSeparator) const {
  return WeightText(kGrossTareLayouts[DecimalCode], GrossText, GrossText, decimalSeparator, Rules);
}

/// Code 7 deliberately takes the character in front of the point from the displayed weight: a tare
/// of 1.00000 or more loses its leading digit, and it reads negative while the weight is negative.
/// By the corrected rules it is the tare's own.
std::string ContinuousFrame::TareWeight(std::string_view decimalSeparator) const {
  const std::string& left =
      DecimalCode == 7 && Rules == ReadingRules::Published ? RawWeight : TareText;
  return WeightText(kGrossTareLayouts[DecimalCode], left, TareText, decimalSeparator, Rules);
}

std::string_view ContinuousFrame::Units() const {
  const bool kilograms = UnitsCode == 0 && (StatusB & 0x10) != 0;
  return kilograms ? "kg" : kUnits[UnitsCode];
}

}  // namespace tarn
