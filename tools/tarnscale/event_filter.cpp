#include "tools/tarnscale/event_filter.hpp"

#include <chrono>
#include <utility>

namespace tarn::tool {

bool EventFilter::Passes(const ScaleEvent& event) {
  if (IsDone() || (event.IsReading() && !PassesReading(event))) return false;
  ++passed_;
  return true;
}

bool EventFilter::PassesReading(const ScaleEvent& event) {
  const Reading& reading = event.reading;
  if (options_.stable && (!IsValidWeight(reading) || reading.motion)) return false;
  Reading shown = reading;
  // Some protocols let the no-data state follow every reading, which is no change.
  if (IsValidWeight(reading)) shown.noData = false;
  std::string text = WeightsText(shown) + StateText(shown);
  const auto found = latest_.find(event.scale);
  if (found != latest_.end()) {
    if (options_.changes && found->second.text == text) return false;
    const std::chrono::duration<double> since = event.time - found->second.time;
    // A clock that was set back does not keep the scale quiet.
    if (since.count() >= 0 && since.count() < options_.every) return false;
  }
  latest_.insert_or_assign(event.scale, Latest{std::move(text), event.time});
  return true;
}

}  // namespace tarn::tool
