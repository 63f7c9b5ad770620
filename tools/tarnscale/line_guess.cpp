#include "tools/tarnscale/line_guess.hpp"

#include <array>

namespace tarn::tool {
namespace {

/// By EighthBit.
constexpr std::array<std::string_view, 5> kFramings = {
    "parity=none databits=8 stopbits=1",
    "parity=even databits=7 stopbits=2",
    "parity=odd databits=7 stopbits=2",
    "parity=none databits=7 stopbits=2",
    "",
};

}  // namespace

LineGuess GuessOf(std::string_view bytes) {
  LineGuess guess;
  guess.heard = bytes.size();
  guess.framing = kFramings[static_cast<std::size_t>(EighthBitOf(bytes))];
  if (!guess.framing.empty()) guess.found = Recognize(WithoutEighthBit(bytes));
  return guess;
}

}  // namespace tarn::tool
