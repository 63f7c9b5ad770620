// How the scales of a server fare, for the service manager that started the program.
#pragma once

#include <array>
#include <memory>
#include <string>

#include "platform/message_loop.hpp"
#include "platform/service_manager.hpp"
#include "server/tarn_scale_server.hpp"

namespace tarn::tool {

/// "30 of 32 scales good; 3 (Packing): the port is gone; ...": the enabled scales, with at most
/// five of those that are not good, in one line.
std::string ServiceStatus(const TarnScaleServer& server);

/// Reports that the program is ready when it is made, and that it ends when it is destroyed;
/// meanwhile the status, not more than once a second, and a sign of life from the loop at half of
/// the manager's watchdog time. All members on the loop's thread.
class ServiceReport {
 public:
  /// The manager may be null: then nothing is reported.
  ServiceReport(std::unique_ptr<ServiceManager> manager, MessageLoop& loop,
                TarnScaleServer& server);
  ServiceReport(const ServiceReport&) = delete;
  ServiceReport& operator=(const ServiceReport&) = delete;
  ~ServiceReport();

  /// Around a reload of the settings.
  void Reloading();
  void Ready();

 private:
  void Watch(std::int16_t number);
  void Send(const std::string& states);
  void Later();
  void OnLater();

  std::unique_ptr<ServiceManager> manager_;
  MessageLoop& loop_;
  TarnScaleServer& server_;
  std::unique_ptr<Timer> watchdog_;
  std::unique_ptr<Timer> later_;
  std::string status_;   ///< the one that was sent last
  std::string waiting_;  ///< states that the manager has not taken yet
  std::array<Subscription, kScaleCount> onCondition_;
  Subscription onReplaced_;
  Subscription onWatchdog_;
  Subscription onLater_;
};

}  // namespace tarn::tool
