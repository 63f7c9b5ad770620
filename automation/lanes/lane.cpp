#include "automation/lanes/lane.hpp"

#include <algorithm>

namespace tarn {

void Lane::Lose() {
  std::list<LaneEvent> dropped;  // destroyed without the lock
  std::list<Turn> droppedTurns;
  const std::lock_guard lock(mutex_);
  lost_ = true;
  counts_.dropped += turn_.size();
  for (const Turn& turn : waiting_) counts_.dropped += turn.events.size();
  dropped.swap(turn_);
  droppedTurns.swap(waiting_);
}

LaneState Lane::State() const {
  const std::lock_guard lock(mutex_);
  if (lost_) return LaneState::Lost;
  return late_ ? LaneState::Late : LaneState::Prompt;
}

LaneCounts Lane::Counts() const {
  const std::lock_guard lock(mutex_);
  LaneCounts counts = counts_;
  counts.waiting = turn_.size();
  for (const Turn& turn : waiting_) counts.waiting += turn.events.size();
  return counts;
}

bool Lane::HangsFor(double milliseconds, double now) const {
  const std::lock_guard lock(mutex_);
  return underWay_ > 0 && now - answered_ >= milliseconds;
}

bool Lane::Begin(const LaneEvent& event, double now) {
  const std::lock_guard lock(mutex_);
  if (lost_) {
    ++counts_.dropped;
    return false;
  }
  if (late_) {
    Wait(event);
    return false;
  }
  if (underWay_++ == 0) answered_ = now;
  return true;
}

void Lane::Wait(const LaneEvent& event) {
  auto turn = std::find_if(waiting_.begin(), waiting_.end(), [&event](const Turn& known) {
    return known.subscription == event.subscription;
  });
  if (turn == waiting_.end()) turn = waiting_.insert(turn, {event.subscription, {}});
  auto& events = turn->events;
  if (event.hasArguments) {
    DropOldest(events);
  } else {
    counts_.merged += std::erase_if(events, [&event](const LaneEvent& known) {
      return !known.hasArguments && known.id == event.id;
    });
  }
  events.push_back(event);
}

void Lane::DropOldest(std::list<LaneEvent>& events) {
  const auto hasArguments = [](const LaneEvent& event) { return event.hasArguments; };
  const auto count = std::count_if(events.begin(), events.end(), hasArguments);
  if (static_cast<std::size_t>(count) < kMostWaiting) return;
  events.erase(std::find_if(events.begin(), events.end(), hasArguments));
  ++counts_.dropped;
}

bool Lane::Leave() {
  const std::lock_guard lock(mutex_);
  if (underWay_ == 0 || late_ || lost_) return false;  // it has just returned
  late_ = true;
  return true;
}

std::optional<LaneEvent> Lane::Finish(Delivery result, double now, bool& emptied) {
  const std::lock_guard lock(mutex_);
  --underWay_;
  answered_ = now;
  if (result == Delivery::Done) ++counts_.delivered;
  if (result == Delivery::Missed) ++counts_.dropped;
  if (underWay_ > 0 || !late_ || lost_) return {};
  if (turn_.empty() && !waiting_.empty()) {
    turn_ = std::move(waiting_.front().events);
    waiting_.pop_front();
  }
  if (turn_.empty()) {
    late_ = false;
    emptied = true;
    return {};
  }
  LaneEvent next = std::move(turn_.front());
  turn_.pop_front();
  ++underWay_;
  return next;
}

}  // namespace tarn
