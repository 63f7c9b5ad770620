// The terminal's end of a TCP connection.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/posix/posix_message_loop.hpp"
#include "platform/posix/posix_support.hpp"
#include "platform/terminal_line.hpp"

namespace tarn {

class PosixTerminalListener final : public TerminalLine {
 public:
  PosixTerminalListener(PosixMessageLoop& loop, std::string address, int port);
  ~PosixTerminalListener() override { Detach(); }

  void Attach() override;
  void Detach() override;
  bool IsAttached() const override { return static_cast<bool>(listener_); }
  std::size_t Write(std::string_view bytes) override;

 private:
  void Accept();
  void Read();
  void DropClient();

  PosixMessageLoop& loop_;
  std::string address_;
  int port_;
  OwnedFd listener_;
  OwnedFd client_;
  PosixMessageLoop::Watch listenerWatch_;
  PosixMessageLoop::Watch clientWatch_;
};

}  // namespace tarn
