// The far end of a COM port pair, for simulated terminals.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/native_line.hpp"
#include "platform/terminal_line.hpp"

namespace tarn {

class Win32TerminalLine final : public TerminalLine {
 public:
  Win32TerminalLine(LineSystem& lines, std::string place);

  void Attach() override;
  void Detach() override { line_.reset(); }
  bool IsAttached() const override { return line_ != nullptr; }
  std::size_t Write(std::string_view bytes) override;

 private:
  /// What the line takes ahead of its speed: as much as the buffer of a serial chip's driver.
  static constexpr std::size_t kAhead = 4096;

  void LineLost(const std::string& why);

  LineSystem& lines_;
  std::string place_;
  std::unique_ptr<NativeLine> line_;
};

}  // namespace tarn
