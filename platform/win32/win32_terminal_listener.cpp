#include "platform/win32/win32_terminal_listener.hpp"

#include <ws2tcpip.h>

#include <array>

#include "base/automation_error.hpp"
#include "platform/win32/win32_error.hpp"

namespace tarn {
namespace {

ErrorNumber ListenErrorNumber(int error) {
  if (error == WSAEACCES) return ErrorNumber::PermissionDenied;
  const bool noPlace = error == WSAEADDRINUSE || error == WSAEADDRNOTAVAIL || error == WSAEINVAL;
  return noPlace ? ErrorNumber::PathFileAccess : ErrorNumber::DeviceInputOutput;
}

}  // namespace

Win32TerminalListener::Winsock::Winsock() {
  WSADATA data;
  if (const int error = WSAStartup(MAKEWORD(2, 2), &data); error != 0) {
    ThrowSystemError(ErrorNumber::DeviceInputOutput, "No network", static_cast<DWORD>(error));
  }
}

Win32TerminalListener::Win32TerminalListener(Win32MessageLoop& loop, std::string address, int port)
    : loop_(loop), address_(std::move(address)), port_(port), happened_(CreateEventHandle(false)) {
  Attach();
}

void Win32TerminalListener::Attach() {
  if (listener_) return;
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_port = htons(static_cast<std::uint16_t>(port_));
  const auto fail = [this](int error) {
    ThrowSystemError(ListenErrorNumber(error),
                     "Nobody can listen at " + address_ + " port " + std::to_string(port_),
                     static_cast<DWORD>(error));
  };
  if (InetPtonA(AF_INET, address_.c_str(), &place.sin_addr) != 1) fail(WSAEINVAL);
  Socket listener(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  if (!listener) fail(WSAGetLastError());
  const auto* address = reinterpret_cast<const sockaddr*>(&place);
  if (::bind(listener.Get(), address, sizeof place) != 0) fail(WSAGetLastError());
  if (::listen(listener.Get(), SOMAXCONN) != 0) fail(WSAGetLastError());
  WSAEventSelect(listener.Get(), happened_.Get(), FD_ACCEPT);
  watch_ = loop_.Watch(happened_.Get(), [this] { Serve(); });
  listener_ = std::move(listener);
}

void Win32TerminalListener::Detach() {
  client_.Reset();
  if (!listener_) return;
  loop_.Unwatch(watch_);
  listener_.Reset();
}

/// The event does not say what happened, so both are asked; neither blocks.
void Win32TerminalListener::Serve() {
  Accept();
  Read();
}

void Win32TerminalListener::Accept() {
  Socket client(::accept(listener_.Get(), nullptr, nullptr));
  if (!client) return;
  // Each piece goes out as it was written, as a terminal sends its keep-alive texts.
  const BOOL noDelay = TRUE;
  ::setsockopt(client.Get(), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&noDelay),
               sizeof noDelay);
  WSAEventSelect(client.Get(), happened_.Get(), FD_READ | FD_CLOSE);
  client_ = std::move(client);
}

std::size_t Win32TerminalListener::Write(std::string_view bytes) {
  if (!client_) return 0;
  const int count = ::send(client_.Get(), bytes.data(), static_cast<int>(bytes.size()), 0);
  return count < 0 ? 0 : static_cast<std::size_t>(count);
}

void Win32TerminalListener::Read() {
  if (!client_) return;
  std::array<char, 4096> bytes;
  const int count = ::recv(client_.Get(), bytes.data(), static_cast<int>(bytes.size()), 0);
  if (count > 0) return Received.Raise({bytes.data(), static_cast<std::size_t>(count)});
  if (count == 0 || WSAGetLastError() != WSAEWOULDBLOCK) client_.Reset();
}

}  // namespace tarn
