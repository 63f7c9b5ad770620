// The services of one server for its scales: host form, classes and log.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/host.hpp"
#include "scale/scale_site.hpp"
#include "server/activity_log.hpp"
#include "server/host_form.hpp"

namespace tarn {

/// The host must outlive the site. A scale that a client holds after the server has ended keeps its
/// site, which then has no timers and no log.
class ServerSite final : public ScaleSite, public std::enable_shared_from_this<ServerSite> {
 public:
  explicit ServerSite(Host& host) : host_(host), form_(host), log_(host.Files()) {}

  Host& System() override { return host_; }
  std::shared_ptr<Timer> UpdateTimer(std::int16_t scaleNumber) override {
    return form_.UpdateTimer(scaleNumber);
  }
  std::shared_ptr<SocketControl> Winsock(std::int16_t scaleNumber) override {
    return form_.Winsock(scaleNumber);
  }
  void ReleaseSocket(std::int16_t scaleNumber) override { form_.ReleaseSocket(scaleNumber); }
  std::shared_ptr<Timer> TickTimer() override { return form_.Timer1(); }
  void LogPrint(const TarnScale& scale) override;
  std::shared_ptr<Persistable> Create(std::string_view className) override;

  ActivityLog& Log() { return log_; }

  /// Closes the log and unloads the host form, in this order.
  void Close();

 private:
  Host& host_;
  HostForm form_;
  ActivityLog log_;
};

}  // namespace tarn
