// Keeps a fault that repeats with every reading from filling the trace.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace tarn {

/// Passes a text on and then keeps quiet about it for kQuietTime: a line that fails with every
/// frame shows once, one that fails again next week shows again. It remembers kRemembered texts;
/// beyond that it begins anew.
class TraceFilter {
 public:
  using Sink = std::function<void(std::string_view)>;
  static constexpr std::size_t kRemembered = 256;
  static constexpr double kQuietTime = 3'600'000;  ///< milliseconds

  explicit TraceFilter(Sink sink) : sink_(std::move(sink)) {}

  /// `now` in milliseconds of a clock that only goes forward.
  void operator()(std::string_view text, double now);

 private:
  Sink sink_;
  std::map<std::string, double, std::less<>> passed_;  ///< and when
};

}  // namespace tarn
