// The object that every client creates to reach the one shared server.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/host.hpp"
#include "server/tarn_scale_server.hpp"

namespace tarn {

/// Creating the first connection object of the process creates the server, loads its settings and
/// starts its scales; destroying the last one shuts the server down. All of that happens on the
/// thread of the message loop.
///
/// A client that creates one during the events of the shut-down gets a new server; the old one
/// first closes what the new one needs.
class TarnServerConnection {
 public:
  /// Errors of the start-up propagate, and leave no server behind.
  explicit TarnServerConnection(Host& host, StartMode mode = StartMode::AsSettingsSay);
  TarnServerConnection(const TarnServerConnection&) = delete;
  TarnServerConnection& operator=(const TarnServerConnection&) = delete;
  ~TarnServerConnection();

  /// The shared server, whatever the number.
  std::shared_ptr<tarn::TarnScaleServer> TarnScaleServer(std::int32_t& eCompNo) const;

 private:
  // Shared by all connection objects of the process: this is what the class is for.
  static std::shared_ptr<tarn::TarnScaleServer> sharedServer_;
  static std::shared_ptr<tarn::TarnScaleServer> endingServer_;  ///< while it shuts down
  static std::int32_t connectionCount_;
};

}  // namespace tarn
