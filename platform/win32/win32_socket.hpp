// Sockets of Windows in the message loop.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/name_lookup.hpp"
#include "platform/native_socket.hpp"
#include "platform/win32/win32_message_loop.hpp"

namespace tarn {

/// One watch of the loop a socket. What arrives while a client holds the loop up waits in the
/// system.
class Win32Sockets final : public SocketSystem {
 public:
  explicit Win32Sockets(Win32MessageLoop& loop);
  ~Win32Sockets() override;

  MessageLoop& Loop() override { return loop_; }
  std::unique_ptr<NativeSocket> Open(SocketTransport transport,
                                     std::function<void()> ready) override;
  void LookUp(const std::string& name, std::weak_ptr<void> owner, LookedUp done) override {
    names_.Start(name, std::move(owner), std::move(done));
  }

 private:
  Win32MessageLoop& loop_;
  NameLookup names_;
};

}  // namespace tarn
