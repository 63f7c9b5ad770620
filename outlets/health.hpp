// Whether the plant's scales do their work, for whoever restarts or alarms.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "outlets/scale_source.hpp"
#include "platform/message_loop.hpp"

namespace tarn {

/// Remembers since when each scale has not been good. Used on the loop's thread; the source and the
/// loop outlive it.
class HealthWatch {
 public:
  HealthWatch(MessageLoop& loop, ScaleSource& source);
  HealthWatch(const HealthWatch&) = delete;
  HealthWatch& operator=(const HealthWatch&) = delete;

  /// An enabled scale that is not good.
  struct Fault {
    ScaleState state;
    double since = 0;  ///< milliseconds
  };
  std::vector<Fault> Faults();

 private:
  void HandleEvent(const ScaleEvent& event);
  void Note(std::size_t scale, bool isAtFault);

  MessageLoop& loop_;
  ScaleSource& source_;
  std::array<double, 33> faultSince_{};  ///< by the loop's clock; below 0 for one without a fault
  Subscription onEvent_;
};

/// A fault younger than `grace` milliseconds may be a link that comes back by itself.
bool IsHealthy(const std::vector<HealthWatch::Fault>& faults, double grace);
/// {"status":"unhealthy","graceSeconds":30,"scales":[...]}: all that are not good.
std::string HealthJson(const std::vector<HealthWatch::Fault>& faults, double grace);

}  // namespace tarn
