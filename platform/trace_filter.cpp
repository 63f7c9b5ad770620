#include "platform/trace_filter.hpp"

#include <utility>

#include "platform/utf8.hpp"

namespace tarn {

void TraceFilter::operator()(std::string_view text, double now) {
  const std::string line = Printable(text.substr(0, kLongestText));
  const auto found = passed_.find(line);
  if (found != passed_.end() && now - found->second < kQuietTime) return;
  if (!IsWithinBudget(now)) return;
  if (found != passed_.end()) {
    found->second = now;
  } else {
    if (passed_.size() >= kRemembered) passed_.clear();
    passed_.emplace(line, now);
  }
  sink_(line);
}

void TraceFilter::News(std::string_view text, double now) {
  if (IsWithinBudget(now)) sink_(Printable(text.substr(0, kLongestText)));
}

bool TraceFilter::IsWithinBudget(double now) {
  constexpr double kMinute = 60'000;  // milliseconds
  if (now - minuteStart_ >= kMinute) {
    minuteStart_ = now;
    linesOfMinute_ = 0;
    if (const std::size_t count = std::exchange(leftOut_, 0); count > 0) {
      sink_(std::to_string(count) + " lines were left out here, there were too many in a minute");
    }
  }
  if (linesOfMinute_ == kLinesPerMinute) {
    ++leftOut_;
    return false;
  }
  ++linesOfMinute_;
  return true;
}

}  // namespace tarn
