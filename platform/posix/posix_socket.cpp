#include "platform/posix/posix_socket.hpp"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <linux/errqueue.h>

#include <array>
#include <utility>

#include "platform/posix/posix_support.hpp"
#include "platform/socket_error.hpp"

namespace tarn {
namespace {

// A terminal that dies silently is noticed after about a minute of silence, or after two where
// something that was sent to it waits for an answer.
constexpr int kKeepAliveIdle = 30;      // seconds
constexpr int kKeepAliveInterval = 10;  // seconds
constexpr int kKeepAliveProbes = 3;
constexpr int kUnansweredLimit = 120'000;  // milliseconds

/// What may wait in the system while a client holds the loop up.
constexpr int kReceiveRoom = 1 << 20;

struct Row {
  int error;
  std::int32_t number;
};
constexpr Row kNumbers[] = {
    {EAGAIN, SocketError::kWouldBlock},
    {EINPROGRESS, SocketError::kWouldBlock},
    {EACCES, SocketError::kNoPermission},
    {EPERM, SocketError::kNoPermission},
    {EMSGSIZE, SocketError::kDatagramTooLong},
    {EADDRINUSE, SocketError::kAddressInUse},
    {EADDRNOTAVAIL, SocketError::kAddressNotAvailable},
    {EINVAL, SocketError::kAddressNotAvailable},  // such as a connection to 0.0.0.0 or port 0
    {ENETDOWN, SocketError::kNetworkDown},
    {ENETUNREACH, SocketError::kNetworkUnreachable},
    {ECONNABORTED, SocketError::kAborted},
    {ECONNRESET, SocketError::kReset},
    {EPIPE, SocketError::kReset},
    {ENOBUFS, SocketError::kNoBuffers},
    {ENOMEM, SocketError::kNoBuffers},
    {ENOTCONN, SocketError::kNotConnected},
    {ETIMEDOUT, SocketError::kTimedOut},
    {ECONNREFUSED, SocketError::kRefused},
    {EHOSTUNREACH, SocketError::kHostUnreachable},
    {EHOSTDOWN, SocketError::kHostUnreachable},
};

std::int32_t NumberOf(int error) {
  for (const Row& row : kNumbers) {
    if (row.error == error) return row.number;
  }
  return SocketError::kNetworkDown;
}

/// Users know the answer of a closed UDP port as a reset.
std::int32_t DatagramNumberOf(int error) {
  return error == ECONNREFUSED ? SocketError::kReset : NumberOf(error);
}

std::int32_t LookUpNumberOf(int result) {
  if (result == EAI_AGAIN) return SocketError::kTryAgain;
  if (result == EAI_FAIL) return SocketError::kNoRecovery;
  return SocketError::kHostNotFound;
}

sockaddr_in SystemAddress(const NetworkAddress& address) {
  sockaddr_in system{};
  system.sin_family = AF_INET;
  system.sin_addr.s_addr = htonl(address.ip);
  system.sin_port = htons(address.port);
  return system;
}

void SetOption(int fd, int level, int option, int value) {
  ::setsockopt(fd, level, option, &value, sizeof value);
}

class PosixSocket final : public NativeSocket {
 public:
  PosixSocket(PosixMessageLoop& loop, OwnedFd fd, SocketTransport transport,
              std::function<void()> ready)
      : transport_(transport), fd_(std::move(fd)), ready_(std::move(ready)), loop_(loop) {
    const int socket = fd_.Get();
    if (transport == SocketTransport::Udp) {
      SetOption(socket, SOL_SOCKET, SO_BROADCAST, 1);
      SetOption(socket, SOL_SOCKET, SO_RCVBUF, kReceiveRoom);
      // Without it the system keeps "port unreachable" to itself.
      SetOption(socket, IPPROTO_IP, IP_RECVERR, 1);
    } else {
      SetOption(socket, SOL_SOCKET, SO_REUSEADDR, 1);  // the local port of a connection just closed
      SetOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
      SetOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdle);
      SetOption(socket, IPPROTO_TCP, TCP_KEEPINTVL, kKeepAliveInterval);
      SetOption(socket, IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveProbes);
      SetOption(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, kUnansweredLimit);
      SetOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);
    }
  }

  /// One UDP socket may have a port of every address, and others the same port of one address each:
  /// a server beside simulated terminals. The system asks both sides for consent at the moment of
  /// the second bind, so the mark is there just then and a port that is really in use is refused.
  std::int32_t Bind(const NetworkAddress& here) override {
    const sockaddr_in address = SystemAddress(here);
    const bool shares = transport_ == SocketTransport::Udp;
    const bool every = here.ip == INADDR_ANY;
    if (shares) SetOption(fd_.Get(), SOL_SOCKET, SO_REUSEADDR, every ? 1 : 0);
    const std::int32_t result =
        Result(::bind(fd_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
    if (shares) SetOption(fd_.Get(), SOL_SOCKET, SO_REUSEADDR, every ? 0 : 1);
    return result;
  }

  std::uint16_t LocalPort() const override {
    sockaddr_in here{};
    socklen_t size = sizeof here;
    if (::getsockname(fd_.Get(), reinterpret_cast<sockaddr*>(&here), &size) < 0) return 0;
    return ntohs(here.sin_port);
  }

  std::int32_t Connect(const NetworkAddress& to) override {
    const sockaddr_in there = SystemAddress(to);
    return Result(::connect(fd_.Get(), reinterpret_cast<const sockaddr*>(&there), sizeof there));
  }

  std::int32_t ConnectResult() override {
    int error = 0;
    socklen_t size = sizeof error;
    if (::getsockopt(fd_.Get(), SOL_SOCKET, SO_ERROR, &error, &size) < 0) return NumberOf(errno);
    if (error != 0) return NumberOf(error);
    sockaddr_in there{};
    size = sizeof there;
    if (::getpeername(fd_.Get(), reinterpret_cast<sockaddr*>(&there), &size) == 0) return 0;
    return errno == ENOTCONN ? SocketError::kWouldBlock : NumberOf(errno);
  }

  Count Send(std::string_view bytes) override {
    return CountOf(
        Retry([&] { return ::send(fd_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL); }));
  }

  Count Receive(char* into, std::size_t length) override {
    return CountOf(Retry([&] { return ::recv(fd_.Get(), into, length, 0); }));
  }

  std::int32_t SendTo(std::string_view bytes, const NetworkAddress& to) override {
    const sockaddr_in there = SystemAddress(to);
    const auto send = [&] {
      return Retry([&] {
        return ::sendto(fd_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL,
                        reinterpret_cast<const sockaddr*>(&there), sizeof there);
      });
    };
    // The first call may only return the failure of an earlier datagram, which is reported when the
    // failures are read.
    if (send() >= 0) return 0;
    if (errno == EAGAIN) return SocketError::kWouldBlock;
    return send() >= 0 ? 0 : DatagramNumberOf(errno);
  }

  Count ReceiveDatagram(char* into, std::size_t length, NetworkAddress& from) override {
    if (std::exchange(failuresWait_, false)) {
      if (const int error = TakeFailures(); error != 0) return {DatagramNumberOf(error), 0};
    }
    // A failure that shows here also waits in the queue of failures, which the loop announces.
    sockaddr_in sender{};
    socklen_t size = sizeof sender;
    const auto count = Retry([&] {
      return ::recvfrom(fd_.Get(), into, length, 0, reinterpret_cast<sockaddr*>(&sender), &size);
    });
    if (count < 0) return {SocketError::kWouldBlock, 0};
    from = {ntohl(sender.sin_addr.s_addr), ntohs(sender.sin_port)};
    return {0, static_cast<std::size_t>(count)};
  }

  void Watch(bool input, bool output) override {
    const std::uint32_t events = (input ? EPOLLIN : 0U) | (output ? EPOLLOUT : 0U);
    if (watching_ && events == events_) return;
    events_ = events;
    if (events == 0) {
      // The end of a connection is announced whatever is asked for, over and over again.
      watch_.Reset();
    } else if (watching_) {
      watch_.Events(events);
    } else {
      watch_ = loop_.WatchFd(fd_.Get(), events, [this](std::uint32_t happened) {
        failuresWait_ = transport_ == SocketTransport::Udp && (happened & EPOLLERR) != 0;
        const auto ready = ready_;  // this socket may go meanwhile
        ready();
      });
    }
    watching_ = events != 0;
  }

 private:
  static std::int32_t Result(int result) { return result == 0 ? 0 : NumberOf(errno); }
  static Count CountOf(ssize_t count) {
    if (count < 0) return {NumberOf(errno), 0};
    return {0, static_cast<std::size_t>(count)};
  }

  /// Empties the queue of failures; the first one's number, 0 when there was none.
  int TakeFailures() {
    int first = 0;
    for (;;) {
      alignas(cmsghdr) std::array<char, 512> control{};
      msghdr message{};
      message.msg_control = control.data();
      message.msg_controllen = control.size();
      if (Retry([&] { return ::recvmsg(fd_.Get(), &message, MSG_ERRQUEUE); }) < 0) break;
      for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
           part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level != IPPROTO_IP || part->cmsg_type != IP_RECVERR || first != 0) continue;
        first =
            static_cast<int>(reinterpret_cast<const sock_extended_err*>(CMSG_DATA(part))->ee_errno);
      }
    }
    int pending = 0;
    socklen_t size = sizeof pending;
    ::getsockopt(fd_.Get(), SOL_SOCKET, SO_ERROR, &pending, &size);
    return first != 0 ? first : pending;
  }

  SocketTransport transport_;
  OwnedFd fd_;
  std::function<void()> ready_;
  PosixMessageLoop& loop_;
  std::uint32_t events_ = 0;
  bool watching_ = false;
  bool failuresWait_ = false;
  PosixMessageLoop::Watch watch_;
};

NameLookup::Answer Ask(const std::string& name) {
  addrinfo wanted{};
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int result = ::getaddrinfo(name.c_str(), nullptr, &wanted, &found);
  if (result != 0) return {LookUpNumberOf(result), 0};
  const auto* first = reinterpret_cast<const sockaddr_in*>(found->ai_addr);
  const std::uint32_t ip = ntohl(first->sin_addr.s_addr);
  ::freeaddrinfo(found);
  return {0, ip};
}

}  // namespace

PosixSockets::PosixSockets(PosixMessageLoop& loop) : loop_(loop), names_(loop, Ask) {}

std::unique_ptr<NativeSocket> PosixSockets::Open(SocketTransport transport,
                                                 std::function<void()> ready) {
  const int type = transport == SocketTransport::Udp ? SOCK_DGRAM : SOCK_STREAM;
  OwnedFd fd(::socket(AF_INET, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!fd) ThrowError(ErrorNumber::DeviceInputOutput, "No socket", errno);
  return std::make_unique<PosixSocket>(loop_, std::move(fd), transport, std::move(ready));
}

}  // namespace tarn
