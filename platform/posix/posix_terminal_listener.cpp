#include "platform/posix/posix_terminal_listener.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <utility>

namespace tarn {
namespace {

template <class Value>
void SetOption(const OwnedFd& socket, int level, int option, Value value) {
  ::setsockopt(socket.Get(), level, option, &value, sizeof value);
}

ErrorNumber ListenErrorNumber(int error) {
  const bool noPlace = error == EADDRINUSE || error == EADDRNOTAVAIL || error == EINVAL;
  return noPlace ? ErrorNumber::PathFileAccess : CommonErrorNumber(error);
}

}  // namespace

PosixTerminalListener::PosixTerminalListener(PosixMessageLoop& loop, std::string address, int port)
    : loop_(loop), address_(std::move(address)), port_(port) {
  Attach();
}

void PosixTerminalListener::Attach() {
  if (listener_) return;
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_port = htons(static_cast<std::uint16_t>(port_));
  const auto fail = [this](int error) {
    ThrowError(ListenErrorNumber(error),
               "Nobody can listen at " + address_ + " port " + std::to_string(port_), error);
  };
  if (::inet_pton(AF_INET, address_.c_str(), &place.sin_addr) != 1) fail(EINVAL);
  OwnedFd listener(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!listener) fail(errno);
  // A connection that was dropped a moment ago must not keep the port from its next use.
  SetOption(listener, SOL_SOCKET, SO_REUSEADDR, 1);
  const auto* address = reinterpret_cast<const sockaddr*>(&place);
  if (::bind(listener.Get(), address, sizeof place) < 0) fail(errno);
  if (::listen(listener.Get(), SOMAXCONN) < 0) fail(errno);
  listenerWatch_ = loop_.WatchFd(listener.Get(), EPOLLIN, [this](std::uint32_t) { Accept(); });
  listener_ = std::move(listener);
}

void PosixTerminalListener::Detach() {
  DropClient();
  listenerWatch_.Reset();
  listener_.Reset();
}

void PosixTerminalListener::DropClient() {
  clientWatch_.Reset();
  client_.Reset();
}

void PosixTerminalListener::Accept() {
  OwnedFd client(Retry([this] {
    return ::accept4(listener_.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  }));
  if (!client) return;
  DropClient();
  // Each piece goes out as it was written, as a terminal sends its keep-alive texts.
  SetOption(client, IPPROTO_TCP, TCP_NODELAY, 1);
  clientWatch_ = loop_.WatchFd(client.Get(), EPOLLIN, [this](std::uint32_t) { Read(); });
  client_ = std::move(client);
}

std::size_t PosixTerminalListener::Write(std::string_view bytes) {
  if (!client_) return 0;
  const auto count =
      Retry([&] { return ::send(client_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL); });
  return count < 0 ? 0 : static_cast<std::size_t>(count);
}

void PosixTerminalListener::Read() {
  std::array<char, 4096> bytes;
  const auto count = Retry([&] { return ::recv(client_.Get(), bytes.data(), bytes.size(), 0); });
  if (count > 0) return Received.Raise({bytes.data(), static_cast<std::size_t>(count)});
  if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return;
  DropClient();
}

}  // namespace tarn
