// The far end of a COM port pair, for simulated terminals.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/terminal_line.hpp"
#include "platform/win32/win32_line.hpp"

namespace tarn {

class Win32TerminalLine final : public TerminalLine {
 public:
  Win32TerminalLine(MessageLoop& loop, std::shared_ptr<Win32PortTable> openPorts,
                    std::function<void(std::string_view)> trace, std::string place);

  void Attach() override;
  void Detach() override { line_.reset(); }
  bool IsAttached() const override { return line_ != nullptr; }
  std::size_t Write(std::string_view bytes) override;

 private:
  /// What the line takes ahead of its speed: as much as the buffer of a serial chip's driver.
  static constexpr std::size_t kAhead = 4096;

  void LineGone(const std::string& why);

  MessageLoop& loop_;
  std::shared_ptr<Win32PortTable> openPorts_;
  std::function<void(std::string_view)> trace_;
  std::string place_;
  std::unique_ptr<Win32Line> line_;
};

}  // namespace tarn
