#include "server/tarn_server_connection.hpp"

#include <limits>
#include <utility>

#include "base/automation_error.hpp"

namespace tarn {

std::shared_ptr<TarnScaleServer> TarnServerConnection::sharedServer_;
std::shared_ptr<TarnScaleServer> TarnServerConnection::endingServer_;
std::int32_t TarnServerConnection::connectionCount_ = 0;

TarnServerConnection::TarnServerConnection(Host& host, StartMode mode) {
  if (!sharedServer_) {
    if (endingServer_) endingServer_->MakeWay();
    sharedServer_ = std::make_shared<tarn::TarnScaleServer>(host, mode);
    connectionCount_ = 0;
  }
  if (connectionCount_ == std::numeric_limits<std::int32_t>::max()) ThrowOverflow();
  ++connectionCount_;
}

TarnServerConnection::~TarnServerConnection() {
  if (--connectionCount_ >= 1) return;
  connectionCount_ = 0;
  // Taken out first: a client that connects again while the old server ends gets a fresh one, which
  // may itself end inside the same events.
  const auto server = std::exchange(sharedServer_, nullptr);
  if (!server) return;
  const auto outer = std::exchange(endingServer_, server);
  server->ShutDown();
  endingServer_ = outer;
}

std::shared_ptr<TarnScaleServer> TarnServerConnection::TarnScaleServer(
    std::int32_t& /*eCompNo*/) const {
  return sharedServer_;
}

}  // namespace tarn
