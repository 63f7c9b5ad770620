// The frames of a terminal with continuous output.
//
//             1  2  3  4  5          11         17 18
//   standard  S  A  B  C  WWWWWW     TTTTTT     CR K
//   short     S  A  B  C  WWWWWW     CR K
//
//   S  STX
//   A  bits 0-2 decimal code, bits 3-4 increment (01 by 1, 10 by 2, 11 by 5), bit 5 always 1
//   B  bit 0 net mode, 1 negative, 2 out of range, 3 motion, 4 kilograms, 5 always 1,
//      6 zero not set since power-up
//   C  bits 0-2 units code, bit 3 print request, bit 5 always 1
//   W  the displayed weight (net while a tare is in effect), T the tare: digits without sign and
//      point
//   K  checksum, where the terminal is set up to send it
//
// Decimal codes 0 and 1 mean displays with fixed zeros at the end. This terminal sends those zeros
// as digits, with code 2.
#pragma once

#include <string>
#include <string_view>

#include "tools/tarnsim/graduation.hpp"
#include "tools/tarnsim/indicator.hpp"

namespace tarn::sim {

struct ContinuousLayout {
  bool standard = true;  ///< with the tare; the short layout goes without
  bool checksum = true;
  Units units = Units::Kilogram;
  Graduation graduation;
};

/// A magnitude beyond six digits is sent as 999999.
std::string BuildContinuousFrame(const ContinuousLayout& layout, const Reading& reading,
                                 bool printRequest);

/// Returns the character that makes the sum of all characters zero in seven bits.
char ContinuousChecksum(std::string_view frame);

}  // namespace tarn::sim
