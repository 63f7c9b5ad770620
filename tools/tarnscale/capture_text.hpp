// A capture of a line as text: which scale it was, how it was set, and what came and went when.
//
//   # tarnscale capture 1
//   # 2026-11-21T14:05:33.120Z
//   scale 3
//   set connection=serial
//   set baud=9600
//   set protocol=continuous
//       0.000 < 02 2B 30 20 30 30 31 32 33 34  |.+0 001234|
//       1.250 > 5A  |Z|
//
// A line of bytes has the seconds since the capture began, "<" for what came from the terminal or
// ">" for what went to it, the bytes, and what of them can be read. Each is a piece as the system
// delivered it, or a datagram. Lines with "#" are for people.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "outlets/scale_event.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn::tool {

struct CapturedPiece {
  std::int64_t time = 0;  ///< milliseconds since the capture began
  bool arrived = true;    ///< from the terminal; false for what was sent to it
  std::string bytes;
};

struct Capture {
  int scale = 1;
  std::vector<std::string> settings;  ///< "KEY=VALUE", in the order in which they are to be set
  std::vector<CapturedPiece> pieces;  ///< never back in time
};

/// The lines in front of the pieces.
std::string CaptureHead(const TarnScale& scale, WallTime began);
/// The bytes as hex and as what can be read of them: " 02 2B 30  |.+0|".
std::string ByteText(std::string_view bytes);
/// One line with its end.
std::string CaptureLine(const CapturedPiece& piece);

/// Throws Failure, which names the line, for a text that is no capture. A last line without an end
/// was cut off and does not count.
Capture ReadCapture(std::string_view text);

}  // namespace tarn::tool
