// The terminal's end of a line: the master of a pseudo-terminal, whose slave is reached through a
// symbolic link at the line's place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/posix/posix_message_loop.hpp"
#include "platform/posix/posix_support.hpp"
#include "platform/terminal_line.hpp"

namespace tarn {

class PosixTerminalLine final : public TerminalLine {
 public:
  PosixTerminalLine(PosixMessageLoop& loop, std::string place);
  ~PosixTerminalLine() override { Detach(); }

  void Attach() override;
  void Detach() override;
  bool IsAttached() const override { return static_cast<bool>(master_); }
  std::size_t Write(std::string_view bytes) override;
  std::int32_t ReaderSpeed() const override;

 private:
  void MakeLink();
  void ReadMaster();

  PosixMessageLoop& loop_;
  std::string place_;
  std::string slaveName_;
  OwnedFd slave_;  ///< held open, so that the line stays when the port at its other end closes
  OwnedFd master_;
  PosixMessageLoop::Watch watch_;
};

}  // namespace tarn
