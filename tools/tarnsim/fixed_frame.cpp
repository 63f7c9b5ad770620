#include "tools/tarnsim/fixed_frame.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>

#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

constexpr char kNone = '\0';
constexpr char kStartOfText = '\x02';
constexpr char kEtx = '\x03';

struct Field {
  std::size_t offset;
  std::size_t length;
};

struct Layout {
  std::string_view name;
  std::size_t length;
  char start = kNone;
  std::string_view end;
  Field weight;
  bool signAtLeftEnd = false;
  Field units;
  std::size_t status = 0;  ///< offset; 0 is none
  char motion = kNone;
  char over = kNone;
  char under = kNone;
  bool polled = false;
};

/// By FixedLayout.
constexpr std::array<Layout, 5> kLayouts = {{
    {.name = "cardinal",
     .length = 18,
     .start = '\r',
     .end = "\x03",
     .weight = {1, 6},
     .signAtLeftEnd = true,
     .units = {10, 2},
     .status = 9,
     .motion = 'm',
     .over = 'c',
     .under = 'e'},
    {.name = "fairbanks",
     .length = 16,
     .end = "\r\n",
     .weight = {1, 7},
     .units = {9, 2},
     .status = 13,
     .motion = 'g'},
    {.name = "gse550",
     .length = 23,
     .start = kStartOfText,
     .end = "\r\n",
     .weight = {3, 8},
     .units = {12, 2},
     .status = 1,
     .motion = 'M',
     .over = 'O',
     .under = 'O'},
    {.name = "ricelake",
     .length = 14,
     .start = kStartOfText,
     .end = "\r\n",
     .weight = {1, 7},
     .signAtLeftEnd = true,
     .units = {8, 1},
     .status = 11,
     .motion = 'M',
     .over = 'O',
     .under = 'I'},
    {.name = "wi120",
     .length = 17,
     .end = "\r\n",
     .weight = {2, 6},
     .signAtLeftEnd = true,
     .units = {9, 2},
     .polled = true},
}};
static_assert(kLayouts[0].end.front() == kEtx);

const Layout& At(FixedLayout layout) {
  return kLayouts[static_cast<std::size_t>(layout)];
}

std::string WeightText(const Layout& layout, const Graduation& graduation, std::int32_t digits) {
  const bool negative = digits < 0;
  std::string text = graduation.Text(negative ? -digits : digits);
  const std::size_t length = layout.weight.length;
  if (text.size() + (negative ? 1 : 0) > length) return std::string(length, '-');
  if (negative && !layout.signAtLeftEnd) text.insert(0, 1, '-');
  text.insert(0, length - text.size(), ' ');
  if (negative && layout.signAtLeftEnd) text[0] = '-';
  return text;
}

std::string UnitsField(const Layout& layout, Units units) {
  std::string text(UnitsText(units).substr(0, layout.units.length));
  text.resize(layout.units.length, ' ');
  if (text.size() == 1)
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
  return text;
}

char Status(const Layout& layout, const Reading& reading) {
  char status = kNone;
  if (reading.overRange)
    status = layout.over;
  else if (reading.underRange)
    status = layout.under;
  else if (reading.motion)
    status = layout.motion;
  return status == kNone ? ' ' : status;
}

}  // namespace

FixedLayout FixedLayoutOf(std::string_view text) {
  const auto* const found = std::find_if(
      kLayouts.begin(), kLayouts.end(), [text](const Layout& known) { return known.name == text; });
  if (found == kLayouts.end()) {
    throw UsageError("Unknown layout \"" + std::string(text) +
                     "\": take cardinal, fairbanks, gse550, ricelake or wi120");
  }
  return static_cast<FixedLayout>(found - kLayouts.begin());
}

bool IsPolled(FixedLayout layout) {
  return At(layout).polled;
}

std::string BuildFixedFrame(const FixedFrameOptions& options, const Reading& reading) {
  const Layout& layout = At(options.layout);
  std::string frame(layout.length, ' ');
  if (layout.start != kNone) frame[0] = layout.start;
  frame.replace(layout.length - layout.end.size(), layout.end.size(), layout.end);
  frame.replace(layout.weight.offset, layout.weight.length,
                WeightText(layout, options.graduation, reading.Displayed()));
  frame.replace(layout.units.offset, layout.units.length, UnitsField(layout, options.units));
  if (layout.status != 0) frame[layout.status] = Status(layout, reading);
  return frame;
}

}  // namespace tarn::sim
