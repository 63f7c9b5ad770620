// What monitoring systems ask for: /metrics, /health and /live.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "outlets/health.hpp"
#include "outlets/http/api.hpp"
#include "outlets/metrics.hpp"
#include "outlets/scale_source.hpp"
#include "outlets/weighing.hpp"
#include "platform/message_loop.hpp"
#include "platform/timer.hpp"

namespace tarn::http {

/// How late the loop comes to its timers: a loop that something holds up serves no line either.
class TimerDelay {
 public:
  explicit TimerDelay(MessageLoop& loop);
  TimerDelay(const TimerDelay&) = delete;
  TimerDelay& operator=(const TimerDelay&) = delete;

  /// Milliseconds; that of the latest tick, and the longest of the last one to two minutes.
  double Latest() const { return latest_; }
  double Longest() const;

 private:
  static constexpr std::int32_t kInterval = 1000;
  static constexpr int kTicksOfMinute = 60;

  void HandleTick();

  MessageLoop& loop_;
  std::unique_ptr<Timer> timer_;
  double tickAt_;
  double latest_ = 0;
  double longest_ = 0;        ///< of the minute that has begun
  double longestBefore_ = 0;  ///< of the minute before
  int ticks_ = 0;
  Subscription onTick_;
};

/// Used on the loop's thread. Outlives the requests to the routes that it adds.
class Monitoring {
 public:
  struct Parts {
    MessageLoop& loop;
    ScaleSource& source;
    WeighingBook& book;
    std::function<std::size_t()> connections;  ///< those that are open
    std::string version;
    double healthGrace;  ///< milliseconds
  };

  /// Adds its routes.
  Monitoring(Api& api, Parts parts);
  Monitoring(const Monitoring&) = delete;
  Monitoring& operator=(const Monitoring&) = delete;

 private:
  Reply MetricsReply() const;
  Reply HealthReply();
  Reply LiveReply() const;

  Api& api_;
  Parts parts_;
  HealthWatch health_;
  TimerDelay delay_;
  std::array<WeighingCounts, 33> weighings_{};
  Subscription onEntered_;
  Subscription onRefused_;
};

}  // namespace tarn::http
