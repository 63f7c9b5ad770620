// The share of a thread's time that somebody may hold it.
#pragma once

#include <algorithm>
#include <limits>

namespace tarn {

/// An account of milliseconds. It is full at first, what is held is taken out of it, and the time
/// in which nothing is held fills it up again, so that in the long run no more than the share is
/// held. All times are of one clock that only goes forward.
class Budget {
 public:
  /// A full account holds the share of this time, in milliseconds.
  static constexpr double kWindow = 750;

  /// `percent` is above 0; 100 is without any bound.
  Budget(double percent, double now) : share_(percent / 100), left_(Capacity()), since_(now) {}

  double Capacity() const {
    return share_ < 1 ? share_ * kWindow : std::numeric_limits<double>::infinity();
  }
  /// Milliseconds; not above 0 when it is used up.
  double Left(double now) {
    Refill(now - since_);
    since_ = now;
    return left_;
  }
  /// So much was held, until now.
  void Use(double held, double now) {
    Refill(now - since_ - held);
    since_ = now;
    left_ -= held;
  }

 private:
  void Refill(double idle) {
    if (share_ < 1 && idle > 0) left_ = std::min(Capacity(), left_ + idle * share_ / (1 - share_));
  }

  double share_;
  double left_;
  double since_;
};

}  // namespace tarn
