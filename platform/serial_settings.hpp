// The settings of a serial line, and how their text is parsed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarn {

struct SerialSettings {
  enum class Parity { None, Even, Odd, Space, Mark };
  enum class StopBits { One, OneAndAHalf, Two };

  std::int32_t baud = 9600;
  Parity parity = Parity::None;
  int dataBits = 8;  ///< 4 to 8
  StopBits stopBits = StopBits::One;

  /// Time of one character on the line, start, parity and stop bits included, in milliseconds.
  double CharacterTime() const;
};

/// Parses a text such as "9600,e,7,2": exactly four pieces; parity letters n e o s m in either
/// case; data bits 4 to 8; stop bits 1, 1.5 or 2. Error 380 for anything else.
SerialSettings ParseSerialSettings(std::string_view text);

}  // namespace tarn
