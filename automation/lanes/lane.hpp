// The lane of one client: its events in order, one at a time.
//
// A lane is prompt while the client has answered all that was delivered. It is late from the moment
// when the core stops waiting for a call of it; its events then wait here, and the thread that made
// that call delivers them as soon as it has returned. A lane that has emptied is prompt again. A
// client that does not answer at all, or has ended, is lost for good.
//
// What waits is bounded. An event without arguments waits at most once for each subscription, since
// its handler reads the state: an equal one that is raised later takes its place, at the end. So
// what waits for one subscription is the sequence as it was raised, less each event of which an
// equal one was raised later. Of the events with arguments the oldest goes when there are too many.
// The subscription that has waited longest has its turn with all its events, so none starves; what
// is raised during the turn waits for the next one.
//
// docs/lanes.md has a drawing.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "automation/lanes/budget.hpp"

namespace tarn {

/// What became of an event.
enum class Delivery {
  Done,
  Missed,      ///< the client was busy
  Withdrawn,   ///< nobody is subscribed any more
  ClientGone,  ///< the client's process has ended
};

/// Owns all that its delivery needs, and nothing that keeps a scale or the process alive.
struct LaneEvent {
  std::shared_ptr<const void> subscription;
  std::int32_t id = 0;
  bool hasArguments = false;
  std::function<Delivery()> deliver;  ///< calls the client, on any thread but the core's
};

enum class LaneState { Prompt, Late, Lost };

/// What a lane has done so far.
struct LaneCounts {
  std::size_t delivered = 0;
  std::size_t merged = 0;   ///< waited already when it was raised once more
  std::size_t dropped = 0;  ///< too many waited, the client was busy, or it was lost
  std::size_t waiting = 0;
};

/// Members say from which thread they are called; "any" is under the lane's own lock.
class Lane {
 public:
  /// Events with arguments that wait for one subscription.
  static constexpr std::size_t kMostWaiting = 64;

  /// `percent` is the share of the core's time that the client may hold.
  Lane(std::uint64_t id, std::string name, double percent, double now)
      : id_(id), name_(std::move(name)), budget_(percent, now), answered_(now) {}
  Lane(const Lane&) = delete;
  Lane& operator=(const Lane&) = delete;

  std::uint64_t Id() const { return id_; }  ///< of the apartment; 0 where it is not known
  const std::string& Name() const { return name_; }

  /// Any thread. A lost client gets no more calls, and what waits for it is dropped.
  void Lose();
  bool IsLost() const { return lost_; }
  LaneState State() const;
  LaneCounts Counts() const;
  /// Whether a call has been under way for so long without any answer.
  bool HangsFor(double milliseconds, double now) const;

  /// On the core's thread: true when the event is to be delivered now; else it waits or is dropped.
  bool Begin(const LaneEvent& event, double now);
  /// On the core's thread: it does not wait any longer. True when that makes the lane late.
  bool Leave();
  /// On the thread that delivered an event: the next one to deliver there, if any. `emptied`
  /// becomes true when the lane has been late and is prompt again.
  std::optional<LaneEvent> Finish(Delivery result, double now, bool& emptied);

  /// Milliseconds that the client has held the core. On the core's thread.
  double Held() const { return held_; }

 private:
  friend class Lanes;
  struct Turn {
    std::shared_ptr<const void> subscription;
    std::list<LaneEvent> events;
  };

  void Wait(const LaneEvent& event);
  void DropOldest(std::list<LaneEvent>& events);

  const std::uint64_t id_;
  const std::string name_;
  std::atomic<bool> lost_ = false;
  Budget budget_;    ///< the core's thread's
  double held_ = 0;  ///< the same

  mutable std::mutex mutex_;
  int underWay_ = 0;  ///< calls; more than one when a handler's own calls raise events
  bool late_ = false;
  double answered_;            ///< when the last call ended or the first one began
  std::list<LaneEvent> turn_;  ///< what is left of the turn of one subscription
  std::list<Turn> waiting_;    ///< in the order in which they began to wait
  LaneCounts counts_;          ///< less those that wait
};

}  // namespace tarn
