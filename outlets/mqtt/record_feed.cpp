#include "outlets/mqtt/record_feed.hpp"

#include <algorithm>
#include <utility>

namespace tarn {
namespace {

/// Acknowledgements within this time are one step, so that their number stays small.
constexpr double kStepTime = 100;  // milliseconds

}  // namespace

RecordFeed::RecordFeed(WeighingBook& book, double settle, std::function<void()> ready,
                       std::function<void(std::uint64_t)> missing)
    : book_(book),
      settle_(settle),
      ready_(std::move(ready)),
      missing_(std::move(missing)),
      delivered_(book.Acknowledged(kReceiver)) {
  book_.Acknowledge(kReceiver, delivered_);  // from now on the book knows that somebody waits
}

void RecordFeed::Begin() {
  End();
  running_ = true;
  fetched_ = delivered_;
}

void RecordFeed::End() {
  running_ = false;
  fetching_ = nullptr;
  waiting_.clear();
  flights_.clear();
  steps_.clear();
}

const Weighing* RecordFeed::Next() {
  if (!running_ || flights_.size() >= kInFlight) return nullptr;
  if (waiting_.empty() && !fetching_ && fetched_ < book_.Latest()) Fetch();
  return waiting_.empty() ? nullptr : &waiting_.front();
}

/// The book may answer inside the call or later, even when this object is gone.
void RecordFeed::Fetch() {
  const auto asking = std::make_shared<bool>(true);
  fetching_ = asking;
  book_.Fetch(fetched_, kInFlight,
              [this, wanted = std::weak_ptr(asking)](std::vector<Weighing> weighings) {
                const auto asked = wanted.lock();
                if (!asked) return;
                fetching_ = nullptr;
                Take(std::move(weighings));
                if (!*asked && !waiting_.empty()) ready_();
              });
  *asking = false;
}

void RecordFeed::Take(std::vector<Weighing> weighings) {
  for (Weighing& weighing : weighings) {
    if (weighing.number <= fetched_) continue;
    if (weighing.number > fetched_ + 1) missing_(weighing.number - fetched_ - 1);
    fetched_ = weighing.number;
    waiting_.push_back(std::move(weighing));
  }
}

void RecordFeed::Published(int id) {
  flights_.push_back({id, waiting_.front().number, false});
  waiting_.pop_front();
}

/// Brokers acknowledge in the order of publishing; where one does not, what is before still counts
/// as under way.
void RecordFeed::Acknowledged(int id, double now) {
  const auto flight =
      std::find_if(flights_.begin(), flights_.end(), [id](const Flight& f) { return f.id == id; });
  if (flight == flights_.end()) return;
  flight->acknowledged = true;
  while (!flights_.empty() && flights_.front().acknowledged) {
    const std::uint64_t number = flights_.front().number;
    flights_.pop_front();
    if (!steps_.empty() && now - steps_.back().at < kStepTime)
      steps_.back().number = number;
    else
      steps_.push_back({number, now});
  }
}

void RecordFeed::Settle(double now) {
  std::uint64_t delivered = delivered_;
  while (!steps_.empty() && steps_.front().at + settle_ <= now) {
    delivered = steps_.front().number;
    steps_.pop_front();
  }
  if (delivered == delivered_) return;
  delivered_ = delivered;
  book_.Acknowledge(kReceiver, delivered);
}

}  // namespace tarn
