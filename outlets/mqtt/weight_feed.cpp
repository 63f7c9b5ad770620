#include "outlets/mqtt/weight_feed.hpp"

#include <algorithm>

namespace tarn {

void WeightFeed::Note(int scale, const Reading& reading, double now) {
  Place& place = places_[scale];
  const bool changed = place.quality != reading.quality || place.reason != reading.reason;
  const bool rested = place.moved && !reading.motion;
  place.moved = reading.motion;
  place.quality = reading.quality;
  place.reason = reading.reason;
  if (changed || rested)
    place.due = std::min(place.due, now);
  else
    Soon(place, now);
}

void WeightFeed::Soon(Place& place, double now) const {
  place.due = std::min(place.due, std::max(now, place.published + interval_));
}

std::optional<int> WeightFeed::Due(double now) const {
  const auto first = std::ranges::min_element(
      places_, {}, [](const auto& scalePlace) { return scalePlace.second.due; });
  if (first == places_.end() || first->second.due > now) return std::nullopt;
  return first->first;
}

void WeightFeed::Published(int scale, double now) {
  Place& place = places_[scale];
  place.published = now;
  place.due = kNever;
}

double WeightFeed::NextDue() const {
  double next = kNever;
  for (const auto& [scale, place] : places_) next = std::min(next, place.due);
  return next;
}

}  // namespace tarn
