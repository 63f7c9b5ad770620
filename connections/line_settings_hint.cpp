#include "connections/line_settings_hint.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <exception>

#include "platform/serial_settings.hpp"

namespace tarn {
namespace {

/// Of fewer bytes all may have the same parity by chance.
constexpr std::size_t kLeastBytes = 16;

bool IsUnusual(char character) {
  const auto code = static_cast<std::uint8_t>(character);
  const bool isFraming = code == 0x02 || code == 0x03 || code == '\r' || code == '\n';
  return (code < 0x20 && !isFraming) || code >= 0x7F;
}

}  // namespace

std::string LineSettingsHint(const LineRecord& line, std::string_view settings) {
  SerialSettings known;
  try {
    known = ParseSerialSettings(settings);
  } catch (const std::exception&) {
    return {};
  }
  const std::string speed = std::to_string(known.baud);
  const std::string bytes = line.BytesWithoutFrame();
  const auto count = [&bytes](auto test) {
    return static_cast<std::size_t>(std::count_if(bytes.begin(), bytes.end(), test));
  };
  const auto code = [](char character) { return static_cast<std::uint8_t>(character); };
  const std::size_t high = count([&](char c) { return code(c) >= 0x80; });
  const std::size_t odd = count([&](char c) { return std::popcount(code(c)) % 2 == 1; });
  const bool wide = known.dataBits == 8 && known.parity == SerialSettings::Parity::None;
  if (wide && bytes.size() >= kLeastBytes && high > 0 && high < bytes.size()) {
    if (odd == 0) return "looks like " + speed + " 7E";
    if (odd == bytes.size()) return "looks like " + speed + " 7O";
  }
  if (line.ErrorsWithoutFrame().framing > 0) return "framing errors: another speed than " + speed;
  if (line.ErrorsWithoutFrame().parity > 0) return "parity errors: another parity, or 8 data bits";
  const std::size_t unusual = count(IsUnusual);
  if (bytes.size() >= kLeastBytes && unusual * 3 > bytes.size()) {
    return "looks like another speed than " + speed;
  }
  return {};
}

}  // namespace tarn
