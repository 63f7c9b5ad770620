// winsock2.h before windows.h
#include <winsock2.h>
#include <ws2tcpip.h>

#include <mstcpip.h>

#include "platform/win32/win32_socket.hpp"

#include <utility>

#include "base/automation_error.hpp"
#include "platform/socket_error.hpp"
#include "platform/win32/win32_error.hpp"
#include "platform/win32/win32_handle.hpp"

namespace tarn {
namespace {

// A terminal that dies silently is noticed after some two minutes; the system decides how often it
// asks.
constexpr ULONG kKeepAliveIdle = 30'000;      // milliseconds
constexpr ULONG kKeepAliveInterval = 10'000;  // milliseconds

/// What may wait in the system while a client holds the loop up.
constexpr int kReceiveRoom = 1 << 20;

sockaddr_in SystemAddress(const NetworkAddress& address) {
  sockaddr_in system{};
  system.sin_family = AF_INET;
  system.sin_addr.s_addr = htonl(address.ip);
  system.sin_port = htons(address.port);
  return system;
}

std::int32_t Result(int result) {
  return result == 0 ? 0 : WSAGetLastError();
}

NativeSocket::Count CountOf(int count) {
  if (count == SOCKET_ERROR) return {WSAGetLastError(), 0};
  return {0, static_cast<std::size_t>(count)};
}

void SetOption(SOCKET socket, int level, int option, int value) {
  setsockopt(socket, level, option, reinterpret_cast<const char*>(&value), sizeof value);
}

struct OwnedSocket {
  explicit OwnedSocket(SOCKET socket) : handle(socket) {}
  OwnedSocket(const OwnedSocket&) = delete;
  OwnedSocket& operator=(const OwnedSocket&) = delete;
  ~OwnedSocket() { closesocket(handle); }
  const SOCKET handle;
};

class Win32Socket final : public NativeSocket {
 public:
  Win32Socket(Win32MessageLoop& loop, SOCKET socket, SocketTransport transport,
              std::function<void()> ready)
      : loop_(loop), owned_(socket), ready_(std::move(ready)) {
    if (transport == SocketTransport::Udp) {
      // Or another program could bind the same port and take the terminals' replies.
      SetOption(socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, 1);
      SetOption(socket, SOL_SOCKET, SO_BROADCAST, 1);
      SetOption(socket, SOL_SOCKET, SO_RCVBUF, kReceiveRoom);
    } else {
      tcp_keepalive keepAlive{1, kKeepAliveIdle, kKeepAliveInterval};
      DWORD ignored = 0;
      WSAIoctl(socket, SIO_KEEPALIVE_VALS, &keepAlive, sizeof keepAlive, nullptr, 0, &ignored,
               nullptr, nullptr);
      SetOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);
    }
    WSAEventSelect(socket_, event_.Get(), FD_READ | FD_WRITE | FD_CONNECT | FD_CLOSE);
    watch_ = loop_.Watch(event_.Get(), [this] { Signalled(); });
  }

  ~Win32Socket() override { loop_.Unwatch(watch_); }

  std::int32_t Bind(const NetworkAddress& here) override {
    const sockaddr_in address = SystemAddress(here);
    return Result(bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address));
  }

  std::uint16_t LocalPort() const override {
    sockaddr_in here{};
    int size = sizeof here;
    if (getsockname(socket_, reinterpret_cast<sockaddr*>(&here), &size) != 0) return 0;
    return ntohs(here.sin_port);
  }

  std::int32_t Connect(const NetworkAddress& to) override {
    const sockaddr_in there = SystemAddress(to);
    return Result(connect(socket_, reinterpret_cast<const sockaddr*>(&there), sizeof there));
  }

  std::int32_t ConnectResult() override { return connectResult_; }

  Count Send(std::string_view bytes) override {
    return CountOf(send(socket_, bytes.data(), static_cast<int>(bytes.size()), 0));
  }

  /// Wine reports a reset only in the announcement; the read that follows looks like an orderly
  /// end.
  Count Receive(char* into, std::size_t length) override {
    const Count count = CountOf(recv(socket_, into, static_cast<int>(length), 0));
    return count.error == 0 && count.bytes == 0 ? Count{endError_, 0} : count;
  }

  std::int32_t SendTo(std::string_view bytes, const NetworkAddress& to) override {
    const sockaddr_in there = SystemAddress(to);
    return CountOf(sendto(socket_, bytes.data(), static_cast<int>(bytes.size()), 0,
                          reinterpret_cast<const sockaddr*>(&there), sizeof there))
        .error;
  }

  Count ReceiveDatagram(char* into, std::size_t length, NetworkAddress& from) override {
    sockaddr_in sender{};
    int size = sizeof sender;
    const Count count = CountOf(recvfrom(socket_, into, static_cast<int>(length), 0,
                                         reinterpret_cast<sockaddr*>(&sender), &size));
    from = {ntohl(sender.sin_addr.s_addr), ntohs(sender.sin_port)};
    return count;
  }

  /// The system announces each thing once, and again after a call that would have to wait. What was
  /// left alone meanwhile is looked for at once.
  void Watch(bool input, bool /*output*/) override {
    if (input && !input_) SetEvent(event_.Get());
    input_ = input;
  }

 private:
  void Signalled() {
    WSANETWORKEVENTS happened{};
    WSAEnumNetworkEvents(socket_, event_.Get(), &happened);
    if ((happened.lNetworkEvents & FD_CONNECT) != 0) {
      connectResult_ = happened.iErrorCode[FD_CONNECT_BIT];
    }
    // The end is announced once, and what came before it is read in several turns.
    if ((happened.lNetworkEvents & FD_CLOSE) != 0) {
      ended_ = true;
      endError_ = happened.iErrorCode[FD_CLOSE_BIT];
    }
    if (ended_ && input_) SetEvent(event_.Get());
    const auto ready = ready_;  // this socket may go meanwhile
    ready();
  }

  Win32MessageLoop& loop_;
  OwnedSocket owned_;
  const SOCKET socket_ = owned_.handle;
  OwnedHandle event_ = CreateEventHandle(true);
  std::function<void()> ready_;
  Win32MessageLoop::WatchId watch_ = 0;
  std::int32_t connectResult_ = SocketError::kWouldBlock;
  bool input_ = false;
  bool ended_ = false;
  std::int32_t endError_ = 0;
};

NameLookup::Answer Ask(const std::string& name) {
  addrinfo wanted{};
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int result = getaddrinfo(name.c_str(), nullptr, &wanted, &found);
  if (result != 0) {
    const bool known = result >= SocketError::kHostNotFound && result <= SocketError::kNoData;
    return {known ? result : SocketError::kHostNotFound, 0};
  }
  const auto* first = reinterpret_cast<const sockaddr_in*>(found->ai_addr);
  const std::uint32_t ip = ntohl(first->sin_addr.s_addr);
  freeaddrinfo(found);
  return {0, ip};
}

}  // namespace

Win32Sockets::Win32Sockets(Win32MessageLoop& loop) : loop_(loop), names_(loop, Ask) {
  WSADATA ignored;
  if (const int code = WSAStartup(MAKEWORD(2, 2), &ignored); code != 0) {
    ThrowSystemError(ErrorNumber::DeviceInputOutput, "No network", static_cast<DWORD>(code));
  }
}

Win32Sockets::~Win32Sockets() {
  WSACleanup();
}

std::unique_ptr<NativeSocket> Win32Sockets::Open(SocketTransport transport,
                                                 std::function<void()> ready) {
  const int type = transport == SocketTransport::Udp ? SOCK_DGRAM : SOCK_STREAM;
  const SOCKET socket =
      WSASocketW(AF_INET, type, 0, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
  if (socket == INVALID_SOCKET) {
    ThrowSystemError(ErrorNumber::DeviceInputOutput, "No socket",
                     static_cast<DWORD>(WSAGetLastError()));
  }
  return std::make_unique<Win32Socket>(loop_, socket, transport, std::move(ready));
}

}  // namespace tarn
