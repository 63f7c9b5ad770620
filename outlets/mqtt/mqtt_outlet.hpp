// Publishes the scales of this program at an MQTT broker.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>

#include "outlets/audit_log.hpp"
#include "outlets/mqtt/mqtt_connection.hpp"
#include "outlets/mqtt/mqtt_settings.hpp"
#include "outlets/mqtt/record_feed.hpp"
#include "outlets/mqtt/weight_feed.hpp"
#include "outlets/scale_source.hpp"
#include "outlets/weighing.hpp"
#include "platform/host.hpp"

namespace tarn {

/// Connects by itself, again and again after pauses of 1 s growing to 60 s. While the broker is
/// away, only the fact that a scale has something new is kept; weighings wait in their book. Errors
/// are traced once for each outage. docs/mqtt.md has the topics and payloads.
///
/// Used on the loop's thread only.
class MqttOutlet final : private MqttListener {
 public:
  static constexpr double kFirstPause = 1000;     // milliseconds
  static constexpr double kLongestPause = 60000;  // milliseconds

  /// `name` is the broker's, for traces. All that is referred to outlives this object.
  MqttOutlet(Host& host, ScaleSource& source, WeighingBook& book, MqttPlan plan, std::string name,
             MqttConnect connect, AuditLog& audit);
  /// Says goodbye to the broker: `state` becomes offline.
  ~MqttOutlet() override;

 private:
  void Connected() override;
  void Lost(const std::string& words) override;
  void Acknowledged(int id) override;
  void Arrived(const MqttMessage& message) override;
  void Drained() override { Pump(); }

  void Connect();
  void Tick();
  void Happened(const ScaleEvent& event);
  /// Publishes what is due as far as the broker takes it.
  void Pump();
  bool PublishNext(double now);
  void PublishWeight(int scale, double now);
  void PublishStatus(int scale);
  void PublishRecord(const Weighing& weighing);
  void Answer(int scale, const std::string& json);
  void Discover(const ScaleState& state);
  void ForgetScales();
  void TraceOutage(const std::string& words);
  std::string Topic(int scale, const char* what) const;

  Host& host_;
  ScaleSource& source_;
  WeighingBook& book_;
  MqttPlan plan_;
  std::string name_;
  MqttConnect connect_;
  AuditLog& audit_;

  std::unique_ptr<MqttConnection> connection_;  ///< null between two attempts
  bool connected_ = false;
  double since_ = 0;  ///< when the attempt began, or the broker took the client
  double pause_ = kFirstPause;
  std::minstd_rand chance_{std::random_device{}()};
  bool away_ = false;        ///< an outage has been reported
  std::string outageWords_;  ///< what was traced last of it
  bool forgotten_ = false;   ///< what an earlier run left of other scales is cleared

  WeightFeed weights_;
  RecordFeed records_;
  std::set<int> statuses_;                 ///< scales whose status is to be published
  std::deque<MqttMessage> waiting_;        ///< single messages; bounded
  std::map<int, std::string> discovered_;  ///< what Home Assistant was last given

  std::unique_ptr<Timer> reconnectTimer_;
  std::unique_ptr<Timer> dueTimer_;
  std::unique_ptr<Timer> tickTimer_;
  int ticks_ = 0;
  std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
  Subscription onReconnect_;
  Subscription onDue_;
  Subscription onTick_;
  Subscription onEntered_;
  Subscription onHappened_;
};

}  // namespace tarn
