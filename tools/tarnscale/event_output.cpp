#include "tools/tarnscale/event_output.hpp"

#include <utility>

namespace tarn::tool {

EventOutput::EventOutput(std::string (*format)(const ScaleEvent& event), TryWrite tryWrite)
    : format_(format), tryWrite_(std::move(tryWrite)) {}

bool EventOutput::WriteLine(const ScaleEvent& event, std::size_t bound) {
  return tryWrite_(format_(event) + "\n", bound);
}

void EventOutput::Write(const ScaleEvent& event) {
  ReportLost(event.time, kGoOnBound);
  if (event.IsReading()) {
    if (IsLosing() || !WriteLine(event, kReadingBound)) ++lostReadings_;
  } else if (!WriteLine(event, kEventBound)) {
    ++lostEvents_;
  }
}

void EventOutput::ReportLost(WallTime time, std::size_t bound) {
  if (!IsLosing()) return;
  ScaleEvent event;
  event.kind = ScaleEvent::Kind::Lost;
  event.time = time;
  event.lostReadings = lostReadings_;
  event.lostEvents = lostEvents_;
  if (WriteLine(event, bound)) lostReadings_ = lostEvents_ = 0;
}

}  // namespace tarn::tool
