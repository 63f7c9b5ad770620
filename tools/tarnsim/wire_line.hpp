// A line that shows its settings in the bytes, as a wire does and a pseudo-terminal does not.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/serial_settings.hpp"
#include "platform/terminal_line.hpp"

namespace tarn::sim {

/// The eighth bit of what is sent is the parity of seven data bits, or their second stop bit, as
/// somebody hears it who reads with eight bits and no parity. Somebody who reads at another speed
/// gets garbage, and is not heard; what comes with the wrong parity is not heard either.
class WireLine final : public TerminalLine {
 public:
  WireLine(std::unique_ptr<TerminalLine> line, SerialSettings settings);

  void Attach() override { line_->Attach(); }
  void Detach() override { line_->Detach(); }
  bool IsAttached() const override { return line_->IsAttached(); }
  std::size_t Write(std::string_view bytes) override;
  std::int32_t ReaderSpeed() const override { return line_->ReaderSpeed(); }

 private:
  char OnTheWire(char character) const;
  void Hear(std::string_view bytes);

  std::unique_ptr<TerminalLine> line_;
  SerialSettings settings_;
  Subscription onReceived_;
};

}  // namespace tarn::sim
