// Keeps a fault that repeats with every reading from filling the trace.
#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <string_view>

namespace tarn {

/// Passes a text on and then suppresses it for kQuietTime: a line that fails with every frame shows
/// once, and if it fails again next week it shows again. It remembers kRemembered texts; one more
/// clears the table.
///
/// Texts that differ each time, by a number or by what a stranger sent, escape this rule. So no
/// more than kLinesPerMinute pass in a minute; the first one after it is preceded by a line that
/// says how many were left out. What is passed on is one line: control characters show as "?", and
/// a text ends after kLongestText bytes.
class TraceFilter {
 public:
  using Sink = std::function<void(std::string_view)>;
  static constexpr std::size_t kRemembered = 256;
  static constexpr double kQuietTime = 3'600'000;  ///< milliseconds
  static constexpr int kLinesPerMinute = 100;
  static constexpr std::size_t kLongestText = 1000;

  explicit TraceFilter(Sink sink) : sink_(std::move(sink)) {}

  /// `now` in milliseconds of a clock that only goes forward.
  void operator()(std::string_view text, double now);
  /// Passes a text on although it has passed before, within the lines of the minute.
  void News(std::string_view text, double now);

 private:
  bool IsWithinBudget(double now);

  Sink sink_;
  std::map<std::string, double, std::less<>> passed_;  ///< and when
  double minuteStart_ = -std::numeric_limits<double>::infinity();
  int linesOfMinute_ = 0;
  std::size_t leftOut_ = 0;
};

}  // namespace tarn
