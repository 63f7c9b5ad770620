#include "platform/serial_settings.hpp"

#include <array>
#include <charconv>
#include <string>

#include "base/automation_error.hpp"

namespace tarn {
namespace {

[[noreturn]] void Refuse(std::string_view text) {
  throw AutomationError(ErrorNumber::InvalidPropertyValue,
                        "Invalid line settings \"" + std::string(text) + "\"");
}

}  // namespace

double SerialSettings::CharacterTime() const {
  const double stop = stopBits == StopBits::One ? 1 : stopBits == StopBits::Two ? 2 : 1.5;
  const double bits = 1 + dataBits + (parity == Parity::None ? 0 : 1) + stop;
  return bits * 1000 / baud;
}

SerialSettings ParseSerialSettings(std::string_view text) {
  std::array<std::string_view, 4> pieces;
  std::string_view rest = text;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    const auto comma = rest.find(',');
    if ((comma == std::string_view::npos) != (i + 1 == pieces.size())) Refuse(text);
    pieces[i] = rest.substr(0, comma);
    if (comma != std::string_view::npos) rest.remove_prefix(comma + 1);
  }
  const auto& [baud, parity, dataBits, stopBits] = pieces;
  SerialSettings settings;

  const auto [end, error] = std::from_chars(baud.data(), baud.data() + baud.size(), settings.baud);
  if (error != std::errc{} || end != baud.data() + baud.size() || settings.baud <= 0) Refuse(text);

  using Parity = SerialSettings::Parity;
  if (parity == "n" || parity == "N")
    settings.parity = Parity::None;
  else if (parity == "e" || parity == "E")
    settings.parity = Parity::Even;
  else if (parity == "o" || parity == "O")
    settings.parity = Parity::Odd;
  else if (parity == "s" || parity == "S")
    settings.parity = Parity::Space;
  else if (parity == "m" || parity == "M")
    settings.parity = Parity::Mark;
  else
    Refuse(text);

  if (dataBits.size() != 1 || dataBits[0] < '4' || dataBits[0] > '8') Refuse(text);
  settings.dataBits = dataBits[0] - '0';

  using StopBits = SerialSettings::StopBits;
  if (stopBits == "1")
    settings.stopBits = StopBits::One;
  else if (stopBits == "1.5")
    settings.stopBits = StopBits::OneAndAHalf;
  else if (stopBits == "2")
    settings.stopBits = StopBits::Two;
  else
    Refuse(text);
  return settings;
}

}  // namespace tarn
