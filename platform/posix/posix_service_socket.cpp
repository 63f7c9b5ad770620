#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>

#include "platform/posix/posix_support.hpp"
#include "platform/service_socket.hpp"

namespace tarn {
namespace {

struct Place {
  sockaddr_storage bytes{};
  socklen_t length = 0;

  const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&bytes); }
  sockaddr* Get() { return reinterpret_cast<sockaddr*>(&bytes); }
};

template <class Address>
Place PlaceOf(const Address& address) {
  Place place;
  std::memcpy(&place.bytes, &address, sizeof address);
  place.length = sizeof address;
  return place;
}

std::optional<Place> PlaceOf(const std::string& text, int port) {
  sockaddr_in four{};
  four.sin_family = AF_INET;
  four.sin_port = htons(static_cast<std::uint16_t>(port));
  if (::inet_pton(AF_INET, text.c_str(), &four.sin_addr) == 1) return PlaceOf(four);
  sockaddr_in6 six{};
  six.sin6_family = AF_INET6;
  six.sin6_port = htons(static_cast<std::uint16_t>(port));
  if (::inet_pton(AF_INET6, text.c_str(), &six.sin6_addr) == 1) return PlaceOf(six);
  return std::nullopt;
}

int PortOf(const Place& place) {
  const bool isFour = place.bytes.ss_family == AF_INET;
  const auto* four = reinterpret_cast<const sockaddr_in*>(&place.bytes);
  const auto* six = reinterpret_cast<const sockaddr_in6*>(&place.bytes);
  return ntohs(isFour ? four->sin_port : six->sin6_port);
}

std::string WhyNobodyListens(int error) {
  if (error == EADDRINUSE) return "another program has this port";
  if (error == EADDRNOTAVAIL) return "this is no address of this machine";
  return ErrorText(error);
}

[[noreturn]] void FailToListen(const std::string& address, int port, int error) {
  const bool noPlace = error == EADDRINUSE || error == EADDRNOTAVAIL || error == EINVAL;
  throw AutomationError(noPlace ? ErrorNumber::PathFileAccess : CommonErrorNumber(error),
                        "Nobody can listen at " + address + " port " + std::to_string(port) + ": " +
                            WhyNobodyListens(error));
}

[[noreturn]] void FailLocally(const std::string& path, int error) {
  const bool noPlace = error == EADDRINUSE || error == ENOENT || error == ENAMETOOLONG;
  throw AutomationError(
      noPlace ? ErrorNumber::PathFileAccess : CommonErrorNumber(error),
      "Nobody can listen at " + path + ": " +
          (error == EADDRINUSE
               ? "another program listens there, such as one that runs the same file"
               : ErrorText(error)));
}

OwnedFd LocalSocket() {
  return OwnedFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

}  // namespace

int ListenLocally(const std::string& path) {
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  if (path.size() >= sizeof name.sun_path) FailLocally(path, ENAMETOOLONG);
  path.copy(name.sun_path, path.size());
  const Place place = PlaceOf(name);
  OwnedFd listener = LocalSocket();
  if (!listener) FailLocally(path, errno);
  if (::bind(listener.Get(), place.Get(), place.length) < 0) {
    if (errno != EADDRINUSE) FailLocally(path, errno);
    const OwnedFd asks = LocalSocket();
    const bool isLeft =
        ::connect(asks.Get(), place.Get(), place.length) < 0 && errno == ECONNREFUSED;
    if (!isLeft) FailLocally(path, EADDRINUSE);
    ::unlink(path.c_str());
    if (::bind(listener.Get(), place.Get(), place.length) < 0) FailLocally(path, errno);
  }
  // Before it listens, nobody gets in.
  if (::chmod(path.c_str(), S_IRUSR | S_IWUSR) < 0 || ::listen(listener.Get(), SOMAXCONN) < 0) {
    FailLocally(path, errno);
  }
  return listener.Release();
}

ServiceSocket ListenForClients(const std::string& address, int port) {
  auto place = PlaceOf(address, port);
  if (!place) FailToListen(address, port, EINVAL);
  const int family = place->bytes.ss_family;
  OwnedFd listener(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!listener) FailToListen(address, port, errno);
  const int on = 1;
  // A connection that was dropped a moment ago must not keep the port from its next use.
  ::setsockopt(listener.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (family == AF_INET6) ::setsockopt(listener.Get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
  if (::bind(listener.Get(), place->Get(), place->length) < 0 ||
      ::listen(listener.Get(), SOMAXCONN) < 0 ||
      ::getsockname(listener.Get(), place->Get(), &place->length) < 0) {
    FailToListen(address, port, errno);
  }
  return {.descriptor = listener.Release(), .address = address, .port = PortOf(*place)};
}

bool IsNumericAddress(const std::string& address) {
  return PlaceOf(address, 0).has_value();
}

bool IsLoopbackAddress(const std::string& address) {
  const auto place = PlaceOf(address, 0);
  if (!place) return false;
  if (place->bytes.ss_family == AF_INET) return address.starts_with("127.");
  const auto* six = reinterpret_cast<const sockaddr_in6*>(&place->bytes);
  return IN6_IS_ADDR_LOOPBACK(&six->sin6_addr);
}

std::string PeerOf(int descriptor) {
  Place place;
  place.length = sizeof place.bytes;
  if (::getpeername(descriptor, place.Get(), &place.length) < 0) return "unknown";
  const int family = place.bytes.ss_family;
  if (family != AF_INET && family != AF_INET6) return "local";
  const void* address = &reinterpret_cast<const sockaddr_in*>(&place.bytes)->sin_addr;
  if (family == AF_INET6) address = &reinterpret_cast<const sockaddr_in6*>(&place.bytes)->sin6_addr;
  std::array<char, INET6_ADDRSTRLEN> text{};
  ::inet_ntop(family, address, text.data(), text.size());
  const std::string shown = text.data();
  return (family == AF_INET6 ? "[" + shown + "]" : shown) + ":" + std::to_string(PortOf(place));
}

void BoundSendBuffer(int descriptor, int bytes) {
  ::setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
}

PeerState StateOfPeer(int descriptor) {
  char next = 0;
  const auto count = Retry([&] { return ::recv(descriptor, &next, 1, MSG_PEEK | MSG_DONTWAIT); });
  if (count > 0) return PeerState::Sends;
  const bool waits = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
  return waits ? PeerState::Quiet : PeerState::Gone;
}

void EndConnection(int descriptor) {
  ::shutdown(descriptor, SHUT_RDWR);
}

}  // namespace tarn
