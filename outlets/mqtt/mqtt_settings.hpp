// What the user says about the broker and what is published there.
#pragma once

#include <set>
#include <string>
#include <string_view>

namespace tarn {

/// The values of the command line.
struct MqttOptions {
  std::string url{};       ///< mqtt://[USER@]HOST[:PORT] or mqtts://...; off when empty
  std::string root{};      ///< scales/HOST when empty
  std::string clientId{};  ///< tarnscale-HOST when empty
  std::string user{};
  std::string passwordFile{};
  std::string ca{};           ///< certificates of those who may sign the broker's; the system's
  std::string certificate{};  ///< of this client
  std::string key{};
  int keepAlive = 30;      ///< seconds
  double rate = 5;         ///< weights of a scale a second
  double settle = 10;      ///< seconds
  std::string commands{};  ///< "1,4" or "all"; none when empty
  bool homeAssistant = false;
};

/// How to reach the broker.
struct MqttBroker {
  std::string host;
  int port = 0;
  bool tls = false;
  std::string user;
  std::string password;
  std::string clientId;
  std::string ca;
  std::string certificate;
  std::string key;
  int keepAlive = 30;  ///< seconds

  std::string Name() const;  ///< for people: "mqtt://host:1883"
};

/// What is published, and who may command.
struct MqttPlan {
  std::string root{};
  double weightInterval = 200;  ///< milliseconds between two weights of a scale
  double settle = 10000;        ///< milliseconds: see RecordFeed
  std::set<int> commands{};     ///< the scales that take commands
  bool homeAssistant = false;
};

struct MqttSettings {
  MqttBroker broker;
  MqttPlan plan;
};

/// `machine` is the name of this machine. Reads the password file. Throws std::invalid_argument
/// with words for the user.
MqttSettings MqttSettingsOf(const MqttOptions& options, std::string_view machine);

}  // namespace tarn
