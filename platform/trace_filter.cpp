#include "platform/trace_filter.hpp"

namespace tarn {

void TraceFilter::operator()(std::string_view text, double now) {
  const auto found = passed_.find(text);
  if (found != passed_.end() && now - found->second < kQuietTime) return;
  if (found != passed_.end()) {
    found->second = now;
  } else {
    if (passed_.size() >= kRemembered) passed_.clear();
    passed_.emplace(text, now);
  }
  sink_(text);
}

}  // namespace tarn
