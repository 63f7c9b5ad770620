// What run and monitor publish beside their own output.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "outlets/audit_log.hpp"
#include "outlets/http/http_outlet.hpp"
#include "outlets/mqtt/mqtt_outlet.hpp"
#include "outlets/scale_source.hpp"
#include "outlets/weighing.hpp"
#include "tools/tarnscale/program.hpp"

namespace tarn::tool {

/// Each is off while it is empty.
struct OutletOptions {
  std::string http;  ///< "127.0.0.1:8080"
  std::string httpTokenFile;
  std::vector<std::string> httpCommands;  ///< "1,4" or "all"
  std::vector<std::string> httpHosts;
  std::vector<std::string> httpOrigins;
  std::string audit;     ///< a file
  std::string journal;   ///< the folder
  int journalDays = 0;   ///< 0: all
  int healthGrace = 30;  ///< seconds
  MqttOptions mqtt;
};

/// The outlets that the options name. Make it before the scales start, so that it sees the first
/// reading; the server outlives it.
class Outlets {
 public:
  /// Throws UsageError and Failure.
  Outlets(Program& program, TarnScaleServer& server, const OutletOptions& options);

  /// Where browsers find the scales; empty where they do not.
  std::string Url() const { return http_ ? http_->Url() : std::string(); }

 private:
  ServerSource source_;
  std::unique_ptr<WeighingBook> book_;
  AuditLog audit_;
  bool isRefusing_ = false;
  Subscription onEvent_;
  std::unique_ptr<http::HttpOutlet> http_;
  Subscription onRefused_;
  Subscription onEntered_;
  std::unique_ptr<MqttOutlet> mqtt_;
};

}  // namespace tarn::tool
