// Sockets of the system in the loop.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/name_lookup.hpp"
#include "platform/native_socket.hpp"
#include "platform/posix/posix_message_loop.hpp"

namespace tarn {

class PosixSockets final : public SocketSystem {
 public:
  explicit PosixSockets(PosixMessageLoop& loop);

  MessageLoop& Loop() override { return loop_; }
  std::unique_ptr<NativeSocket> Open(SocketTransport transport,
                                     std::function<void()> ready) override;
  void LookUp(const std::string& name, std::weak_ptr<void> owner, LookedUp done) override {
    names_.Start(name, std::move(owner), std::move(done));
  }

 private:
  PosixMessageLoop& loop_;
  NameLookup names_;
};

}  // namespace tarn
