// One frame of the terminals' continuous output, taken apart.
//
// On the wire, here with 123.4 kg net, 10.0 kg tare:
//
//            1    2    3    4    5         10   11        16   17   18
//            STX  A    B    C    w w w w w w    t t t t t t    CR   checksum
//            02   2B   30   20   0 0 1 2 3 4    0 0 0 1 0 0    0D   ..
//
// The short layouts carry no tare and end with the CR at 11. What stands behind the CR, a checksum
// for one, is not looked at. The text that is parsed begins behind the STX and ends with the CR.
//
//   A  bits 0-2  decimal code         B  bit 1  negative       C  bits 0-2  units code
//                                        bit 2  out of range      bit 3     print request
//                                        bit 3  in motion
//                                        bit 4  kg (else lb), with units code 0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "scale/reading_rules.hpp"

namespace tarn {

inline constexpr char kStx = '\x02';
inline constexpr char kCarriageReturn = '\r';

/// Length of the parsed text, the CR counted and the STX not.
inline constexpr std::int16_t kStandardFrameLength = 16;
inline constexpr std::int16_t kShortFrameLength = 10;

/// Read in steps, since a protocol publishes each part before it reads the next: a frame that turns
/// out bad in the middle has published its first half.
///
/// All counts are in display digits, the decimal point ignored. Errors: 9 where the text is too
/// short, 6 where a number does not fit, 13 where a text is no number.
struct ContinuousFrame {
  ReadingRules Rules = ReadingRules::Published;
  std::uint8_t StatusA = 0;
  std::uint8_t StatusB = 0;
  std::uint8_t StatusC = 0;
  std::uint8_t DecimalCode = 0;  ///< 0 to 7
  std::uint8_t UnitsCode = 0;    ///< 0 to 7
  std::string RawWeight;         ///< displayed weight: a minus sign and six digits, or seven digits
  std::string TareText;          ///< six digits
  std::string GrossText;         ///< six digits, behind a minus sign when negative
  std::int32_t WeightCounts = 0;
  std::int32_t TareCounts = 0;
  std::int32_t GrossCounts = 0;

  void ReadStatusAndWeight(std::string_view text);
  void ReadTareAndGross(std::string_view text);
  /// What stands in the fields after a short frame.
  void NoTareAndGross();

  std::string NetWeight(std::string_view decimalSeparator) const;
  std::string GrossWeight(std::string_view decimalSeparator) const;
  std::string TareWeight(std::string_view decimalSeparator) const;
  std::string_view Units() const;

  bool OutOfRange() const { return (StatusB & 0x04) != 0; }
  bool Motion() const { return (StatusB & 0x08) != 0; }
  bool PrintRequest() const { return (StatusC & 0x08) != 0; }

 private:
  bool Negative() const { return (StatusB & 0x02) != 0; }
};

}  // namespace tarn
