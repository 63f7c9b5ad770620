// The terminal's end of a TCP connection.
#pragma once

#include <winsock2.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "platform/terminal_line.hpp"
#include "platform/win32/win32_handle.hpp"
#include "platform/win32/win32_message_loop.hpp"

namespace tarn {

class Win32TerminalListener final : public TerminalLine {
 public:
  Win32TerminalListener(Win32MessageLoop& loop, std::string address, int port);
  ~Win32TerminalListener() override { Detach(); }

  void Attach() override;
  void Detach() override;
  bool IsAttached() const override { return static_cast<bool>(listener_); }
  std::size_t Write(std::string_view bytes) override;

 private:
  /// Winsock is in use while one of these lives.
  class Winsock {
   public:
    Winsock();
    ~Winsock() { WSACleanup(); }
    Winsock(const Winsock&) = delete;
    Winsock& operator=(const Winsock&) = delete;
  };
  class Socket {
   public:
    explicit Socket(SOCKET socket = INVALID_SOCKET) : socket_(socket) {}
    Socket(Socket&& other) noexcept : socket_(std::exchange(other.socket_, INVALID_SOCKET)) {}
    Socket& operator=(Socket&& other) noexcept {
      if (this != &other) Reset(std::exchange(other.socket_, INVALID_SOCKET));
      return *this;
    }
    ~Socket() { Reset(); }
    SOCKET Get() const { return socket_; }
    explicit operator bool() const { return socket_ != INVALID_SOCKET; }
    void Reset(SOCKET socket = INVALID_SOCKET) {
      if (socket_ != INVALID_SOCKET) closesocket(socket_);
      socket_ = socket;
    }

   private:
    SOCKET socket_;
  };

  void Serve();
  void Accept();
  void Read();

  Win32MessageLoop& loop_;
  std::string address_;
  int port_;
  Winsock winsock_;
  OwnedHandle happened_;  ///< anything at the listener or its client; one handle for the loop
  Win32MessageLoop::WatchId watch_ = 0;
  Socket listener_;
  Socket client_;
};

}  // namespace tarn
