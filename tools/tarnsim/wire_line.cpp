#include "tools/tarnsim/wire_line.hpp"

#include <bit>
#include <cstdint>
#include <string>

namespace tarn::sim {

WireLine::WireLine(std::unique_ptr<TerminalLine> line, SerialSettings settings)
    : line_(std::move(line)), settings_(settings) {
  onReceived_ = line_->Received.Subscribe([this](std::string_view bytes) { Hear(bytes); });
}

char WireLine::OnTheWire(char character) const {
  if (settings_.dataBits != 7) return character;
  const auto data = static_cast<std::uint8_t>(static_cast<std::uint8_t>(character) & 0x7FU);
  const bool odd = std::popcount(data) % 2 != 0;
  bool eighth = true;  // a stop bit, or mark
  if (settings_.parity == SerialSettings::Parity::Even) eighth = odd;
  if (settings_.parity == SerialSettings::Parity::Odd) eighth = !odd;
  if (settings_.parity == SerialSettings::Parity::Space) eighth = false;
  return static_cast<char>(data | (eighth ? 0x80U : 0U));
}

void WireLine::Hear(std::string_view bytes) {
  const std::int32_t reader = line_->ReaderSpeed();
  if (reader != 0 && reader != settings_.baud) return;
  std::string heard;
  for (const char character : bytes) {
    if (character != OnTheWire(character)) continue;
    heard += settings_.dataBits == 7 ? static_cast<char>(character & 0x7F) : character;
  }
  if (!heard.empty()) Received.Raise(heard);
}

std::size_t WireLine::Write(std::string_view bytes) {
  const std::int32_t reader = line_->ReaderSpeed();
  std::string sent;
  std::uint32_t garbage = 1;
  for (const char character : bytes) {
    sent += OnTheWire(character);
    if (reader == 0 || reader == settings_.baud) continue;
    garbage = garbage * 1'103'515'245U + static_cast<std::uint8_t>(character) + 12'345U;
    sent.back() = static_cast<char>(garbage >> 16U);
  }
  return line_->Write(sent);
}

}  // namespace tarn::sim
