// Decides when the weight of each scale is published.
#pragma once

#include <limits>
#include <map>
#include <optional>
#include <string>

#include "outlets/scale_event.hpp"

namespace tarn {

/// A scale's weight is due once in each interval while readings come; at once where it comes to
/// rest, and where its quality or the reason for it changes. What waits is only that a scale is
/// due, never a reading, so nothing grows while nobody takes it.
///
/// Times are milliseconds of the loop's clock.
class WeightFeed {
 public:
  explicit WeightFeed(double interval) : interval_(interval) {}

  /// A reading has come, or its condition has changed.
  void Note(int scale, const Reading& reading, double now);
  /// Something else of the weight object has changed.
  void Touch(int scale, double now) { Soon(places_[scale], now); }
  /// The weight is to be published in any case.
  void Renew(int scale, double now) { places_[scale].due = now; }

  /// The scale that has been due for longest; nothing while none is due.
  std::optional<int> Due(double now) const;
  void Published(int scale, double now);
  /// When the next one is due; kNever while nothing waits.
  double NextDue() const;

  static constexpr double kNever = std::numeric_limits<double>::infinity();

 private:
  struct Place {
    double due = kNever;
    double published = -kNever;
    bool moved = true;  ///< whether the latest reading was in motion, or none
    std::optional<Quality> quality;
    std::string reason;
  };

  void Soon(Place& place, double now) const;

  double interval_;
  std::map<int, Place> places_;
};

}  // namespace tarn
