// What the bytes of a line say about its settings and its terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "protocols/recognizer.hpp"

namespace tarn::tool {

struct LineGuess {
  Recognized found;
  std::size_t heard = 0;     ///< all bytes
  std::string_view framing;  ///< "parity=even databits=7 stopbits=2"; empty for what is no text

  /// Less than that may be chance.
  explicit operator bool() const { return found.frames > 0 && found.bytes * 8 >= heard; }
  /// Hardly a byte that belongs to nothing, in several frames.
  bool IsSure() const { return found.frames >= 3 && found.bytes * 10 >= heard * 8; }
};

/// Of bytes that were read with eight bits and no parity. Stop bits cannot be heard: where the line
/// has two, one would do to listen, and the other way round.
LineGuess GuessOf(std::string_view bytes);

}  // namespace tarn::tool
