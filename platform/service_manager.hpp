// The service manager that started this program and watches it.
#pragma once

#include <string_view>

namespace tarn {

class ServiceManager {
 public:
  ServiceManager() = default;
  ServiceManager(const ServiceManager&) = delete;
  ServiceManager& operator=(const ServiceManager&) = delete;
  virtual ~ServiceManager() = default;

  /// Sends states, lines of NAME=VALUE such as "READY=1". Never waits: false where the manager did
  /// not take them at once.
  virtual bool Notify(std::string_view states) = 0;
  /// The longest time between two states "WATCHDOG=1" that the manager allows, in milliseconds; 0
  /// where it expects none.
  virtual double WatchdogTime() const = 0;
};

}  // namespace tarn
