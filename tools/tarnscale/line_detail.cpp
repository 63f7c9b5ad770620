#include "tools/tarnscale/line_detail.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "scale/reading_condition.hpp"
#include "tools/tarnscale/capture_text.hpp"

namespace tarn::tool {
namespace {

constexpr std::size_t kBytesInALine = 16;
constexpr std::size_t kShownBytes = 3 * kBytesInALine;

std::string ConditionLine(const TarnScale& scale, const Condition& condition) {
  std::string text = scale.Title() + ": " + std::string(QualityName(condition.quality));
  if (!condition.words.empty()) text += ": " + condition.words;
  if (condition.age) {
    text += "; the reading is " + std::to_string(std::lround(*condition.age / 1000)) + " s old";
  }
  return text;
}

/// The first three always, and of the others those that are not 0.
std::string CounterLine(const LineCounters& counters) {
  constexpr std::size_t kAlways = 3;
  std::string text;
  for (std::size_t i = 0; i < kLineCounters.size(); ++i) {
    const std::uint64_t count = counters.*kLineCounters[i].member;
    if (count == 0 && i >= kAlways) continue;
    if (!text.empty()) text += "  ";
    text += std::string(kLineCounters[i].name) + " " + std::to_string(count);
  }
  return text;
}

}  // namespace

std::vector<std::string> LineDetail(const TarnScale& scale) {
  const auto judge = scale.Condition();
  const LineRecord& line = *judge->Line();
  std::vector<std::string> lines = {ConditionLine(scale, judge->Present()),
                                    CounterLine(judge->Counters(false))};
  if (const auto at = judge->LastErrorAt())
    lines.push_back("last error " + LocalText(*at).substr(0, 19) + "  " + line.LastError());
  const std::string latest = line.Latest(kShownBytes);
  for (std::string_view rest = latest; !rest.empty();
       rest.remove_prefix(std::min(rest.size(), kBytesInALine))) {
    lines.push_back(ByteText(rest.substr(0, kBytesInALine)));
  }
  return lines;
}

}  // namespace tarn::tool
