// A service manager that takes states as datagrams at a local socket: that of systemd, and those
// that follow its protocol.
#pragma once

#include <string>

#include "platform/posix/posix_support.hpp"
#include "platform/service_manager.hpp"

namespace tarn {

class PosixServiceManager final : public ServiceManager {
 public:
  /// `address` is the path of the socket, or "@" and its name in the abstract namespace.
  PosixServiceManager(std::string address, double watchdogTime);

  bool Notify(std::string_view states) override;
  double WatchdogTime() const override { return watchdogTime_; }

 private:
  std::string address_;
  double watchdogTime_;
  OwnedFd socket_;
};

}  // namespace tarn
