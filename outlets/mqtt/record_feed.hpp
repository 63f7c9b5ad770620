// Brings the weighings of a book to a broker: in order, none missing, each until it is safe there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "outlets/weighing.hpp"

namespace tarn {

/// A broker that acknowledges a message may have it in memory only, and loses it when its machine
/// fails. So a weighing counts as delivered once the broker has acknowledged it and the same
/// connection has then lasted for the time `settle`, in which the broker hands it on or stores it.
/// After an interruption all that is not delivered is published again, and a subscriber knows it by
/// its number.
///
/// Times are milliseconds of the loop's clock.
class RecordFeed {
 public:
  static constexpr std::size_t kInFlight = 20;
  static constexpr const char* kReceiver = "mqtt";

  /// `ready` is called when fetched weighings have come later than asked for. `missing` reports
  /// weighings that the book no longer has.
  RecordFeed(WeighingBook& book, double settle, std::function<void()> ready,
             std::function<void(std::uint64_t count)> missing);

  /// A connection has been made: begins again behind what is delivered.
  void Begin();
  /// The connection is over.
  void End();

  /// The weighing to be published next; null while there is none, or enough are under way. It stays
  /// valid until Published.
  const Weighing* Next();
  /// The next one was published under this number.
  void Published(int id);
  void Acknowledged(int id, double now);
  /// Notes what is delivered by now. To be called about once a second.
  void Settle(double now);

 private:
  struct Flight {
    int id;
    std::uint64_t number;
    bool acknowledged;
  };
  struct Step {
    std::uint64_t number;  ///< everything up to this one was acknowledged
    double at;
  };

  void Fetch();
  void Take(std::vector<Weighing> weighings);

  WeighingBook& book_;
  double settle_;
  std::function<void()> ready_;
  std::function<void(std::uint64_t)> missing_;
  bool running_ = false;
  std::uint64_t delivered_;
  std::uint64_t fetched_ = 0;  ///< the number of the last one that was fetched
  std::deque<Weighing> waiting_;
  std::deque<Flight> flights_;
  std::deque<Step> steps_;
  std::shared_ptr<bool> fetching_;  ///< what an answer of the book must find; null between answers
};

}  // namespace tarn
