// The object that every client creates to reach the one shared server.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/host.hpp"
#include "server/tarn_scale_server.hpp"

namespace tarn {

/// The first connection object of the process builds the server inside its own creation, with its
/// settings loaded and its scales started; the last one to go takes the server down. All on the
/// thread of the message loop.
///
/// A client that creates one inside the events of the shut-down gets a fresh server, for which the
/// one that ends makes way first.
class TarnServerConnection {
 public:
  /// Errors of the start-up, which leave no server behind.
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
