// What a socket control asks of the operating system: sockets that never block, and names looked up
// beside the loop. The control itself (NetworkSocket) is the same everywhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message_loop.hpp"
#include "platform/socket.hpp"

namespace tarn {

struct NetworkAddress {
  std::uint32_t ip = 0;  ///< most significant byte first: 127.0.0.1 is 0x7F000001
  std::uint16_t port = 0;
};

/// An address of four decimal numbers; none for any other text. Leading zeros, which terminals show
/// in their set-up, are decimal too.
std::optional<std::uint32_t> ParseAddress(std::string_view text);
std::string AddressText(std::uint32_t ip);

/// One open socket; destroying it closes it. The calls return numbers of SocketError: 0 is success,
/// kWouldBlock is a call that would have to wait.
class NativeSocket {
 public:
  struct Count {
    std::int32_t error = 0;
    std::size_t bytes = 0;
  };

  NativeSocket() = default;
  NativeSocket(const NativeSocket&) = delete;
  NativeSocket& operator=(const NativeSocket&) = delete;
  virtual ~NativeSocket() = default;

  /// IP 0 is every address of this machine.
  virtual std::int32_t Bind(const NetworkAddress& here) = 0;
  virtual std::uint16_t LocalPort() const = 0;

  virtual std::int32_t Connect(const NetworkAddress& to) = 0;
  /// The state of a connection that was begun: 0 once it stands, kWouldBlock while it is made.
  virtual std::int32_t ConnectResult() = 0;
  /// TCP. Send may take a part; Receive of 0 bytes is the end of the stream.
  virtual Count Send(std::string_view bytes) = 0;
  virtual Count Receive(char* into, std::size_t length) = 0;
  /// UDP.
  virtual std::int32_t SendTo(std::string_view bytes, const NetworkAddress& to) = 0;
  virtual Count ReceiveDatagram(char* into, std::size_t length, NetworkAddress& from) = 0;

  /// Says what `ready` is to be called for; output matters only after a call that would have to
  /// wait.
  virtual void Watch(bool input, bool output) = 0;
};

class SocketSystem {
 public:
  /// The longest datagram that can arrive, and one byte more.
  static constexpr std::size_t kScratchSize = 65536;
  /// 0 and the address, or the number of the failure.
  using LookedUp = std::function<void(std::int32_t error, std::uint32_t ip)>;

  SocketSystem() = default;
  SocketSystem(const SocketSystem&) = delete;
  SocketSystem& operator=(const SocketSystem&) = delete;
  virtual ~SocketSystem() = default;

  virtual MessageLoop& Loop() = 0;
  /// `ready` is called from the loop when something may be done; it is a hint and may come too
  /// often. Error 57 where the system has no socket left.
  virtual std::unique_ptr<NativeSocket> Open(SocketTransport transport,
                                             std::function<void()> ready) = 0;
  /// `done` is called from the loop, unless `owner` is gone by then.
  virtual void LookUp(const std::string& name, std::weak_ptr<void> owner, LookedUp done) = 0;

  /// Where bytes are received before somebody keeps them.
  char* Scratch() {
    if (scratch_.empty()) scratch_.resize(kScratchSize);
    return scratch_.data();
  }

 private:
  std::vector<char> scratch_;  ///< made when first needed
};

}  // namespace tarn
