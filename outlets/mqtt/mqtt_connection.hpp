// One connection to an MQTT broker, from its making to its end.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace tarn {

struct MqttMessage {
  std::string topic{};
  std::string payload{};
  bool retained = false;  ///< of one that arrived: it was kept by the broker
  bool certain = false;   ///< QoS 1: the broker acknowledges it; else QoS 0
};

/// Called on the loop's thread, never inside a call of the connection or its constructor.
class MqttListener {
 public:
  MqttListener() = default;
  MqttListener(const MqttListener&) = delete;
  MqttListener& operator=(const MqttListener&) = delete;
  virtual ~MqttListener() = default;

  /// The broker has taken the client.
  virtual void Connected() = 0;
  /// The connection could not be made or is over, for this reason. The last call.
  virtual void Lost(const std::string& words) = 0;
  /// The broker has acknowledged the message that Publish gave this number.
  virtual void Acknowledged(int id) = 0;
  virtual void Arrived(const MqttMessage& message) = 0;
  /// TakesMore holds again.
  virtual void Drained() = 0;
};

/// Used on the loop's thread only; no member waits. It begins to connect when it is made.
/// Destroying it closes the connection without a word, so the broker publishes the will; do not
/// destroy it inside a call of the listener.
class MqttConnection {
 public:
  MqttConnection() = default;
  MqttConnection(const MqttConnection&) = delete;
  MqttConnection& operator=(const MqttConnection&) = delete;
  virtual ~MqttConnection() = default;

  /// False while the broker has not taken what was published before, so that memory stays bounded:
  /// publish nothing then.
  virtual bool TakesMore() const = 0;
  /// Returns the number under which a certain message is acknowledged.
  virtual int Publish(const MqttMessage& message) = 0;
  /// Messages of these topics arrive at most once: a command that comes late or twice is worse
  /// than one that does not come.
  virtual void Subscribe(const std::string& topics) = 0;
  /// To be called about once a second.
  virtual void Tick() = 0;
  /// Says goodbye, so that the broker does not publish the will.
  virtual void Close() = 0;
};

/// The will is what the broker publishes when the connection breaks. The listener outlives the
/// connection.
using MqttConnect =
    std::function<std::unique_ptr<MqttConnection>(const MqttMessage& will, MqttListener& listener)>;

}  // namespace tarn
