#include "automation/lanes/lanes.hpp"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

namespace tarn {
namespace {

Delivery DeliverGuarded(const LaneEvent& event) {
  try {
    return event.deliver();
  } catch (const std::exception&) {
    return Delivery::Missed;  // memory has run out
  }
}

/// One event, and then what waits, for as long as the client is late.
void Serve(LaneSystem& system, const std::shared_ptr<Lane>& lane, std::optional<LaneEvent> event,
           const std::shared_ptr<LaneSystem::Answer>& answer) {
  while (event) {
    const Delivery result = DeliverGuarded(*event);
    event.reset();
    bool emptied = false;
    if (result == Delivery::ClientGone && !lane->IsLost()) {
      lane->Lose();
      system.Changed(lane, LaneState::Lost);
    }
    event = lane->Finish(result, system.Now(), emptied);
    if (emptied) system.Changed(lane, LaneState::Prompt);
    answer->Set();
  }
}

}  // namespace

void Lanes::Deliver(const std::shared_ptr<Lane>& lane, LaneEvent event,
                    std::shared_ptr<void> keep) {
  if (!lane->Begin(event, system_.Now())) return;
  std::shared_ptr<LaneSystem::Answer> answer;
  try {
    answer = system_.NewAnswer();
    system_.Start(
        [&system = system_, lane, answer, event = std::move(event),
         keep = std::move(keep)]() mutable { Serve(system, lane, std::move(event), answer); });
  } catch (const std::exception&) {
    bool ignored = false;
    lane->Finish(Delivery::Missed, system_.Now(), ignored);
    throw;
  }
  if (Hold(*lane, *answer, limits_.hung, true)) return;
  if (lane->HangsFor(limits_.hung, system_.Now())) return Lose(lane);
  if (!lane->Leave()) return;
  const auto isThisLane = [&lane](const auto& known) { return known.lock() == lane; };
  if (std::none_of(late_.begin(), late_.end(), isThisLane)) late_.push_back(lane);
  system_.Changed(lane, LaneState::Late);
}

bool Lanes::Hold(Lane& lane, LaneSystem::Answer& answer, double limit, bool budgeted) {
  const Elsewhere forTheWaitAround(*this);
  double held = 0;
  bool done = false;
  while (!done && !lane.IsLost()) {
    const bool free = budgeted && held < kFree;
    const double allowed = budgeted ? Allowed(lane, held) : limit;
    const double left = std::min(limit - held, free && allowed > 0 ? kFree - held : allowed);
    if (left <= 0) break;
    const double start = system_.Now() - elsewhere_;
    done = system_.Wait(answer, left);
    const double now = system_.Now();
    const double took = now - elsewhere_ - start;
    held += took;
    if (!budgeted || (free && !system_.HasOtherWork())) continue;
    lane.budget_.Use(took, now);
    all_.Use(took, now);
  }
  lane.held_ += held;
  return done || answer.IsSet();
}

/// When all together have used up their share, a client that answers at once is still waited for,
/// until twice the share is used up: what others held must not make it late.
double Lanes::Allowed(Lane& lane, double held) {
  const double now = system_.Now();
  const double all = all_.Left(now);
  const double shared = all > 0 ? all : std::min(kFree - held, all + all_.Capacity());
  return std::min(lane.budget_.Left(now), shared);
}

bool Lanes::Watch() {
  const auto watched = std::exchange(late_, {});
  for (const auto& known : watched) {
    const auto lane = known.lock();
    if (!lane || lane->State() != LaneState::Late) continue;
    if (lane->HangsFor(limits_.hung, system_.Now()))
      Lose(lane);
    else
      late_.push_back(lane);
  }
  return !late_.empty();
}

void Lanes::Lose(const std::shared_ptr<Lane>& lane) {
  lane->Lose();
  system_.Changed(lane, LaneState::Lost);
}

}  // namespace tarn
