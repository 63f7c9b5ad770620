// Captures of lines, which users send around and edit, and what a line says about itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tools/tarnscale/capture_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/line_guess.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarn::tool;
  const LineGuess guess = GuessOf({reinterpret_cast<const char*>(data), size});
  if (guess.heard != size || guess.found.bytes > size) std::abort();
  const std::string title = "# tarnscale capture 1\n";
  try {
    const Capture capture =
        ReadCapture(title + std::string(reinterpret_cast<const char*>(data), size));
    // Whatever was understood is written so that it is read back.
    std::string text = title;
    for (const CapturedPiece& piece : capture.pieces) text += CaptureLine(piece);
    const Capture again = ReadCapture(text);
    if (again.pieces.size() != capture.pieces.size()) std::abort();
    for (std::size_t i = 0; i < again.pieces.size(); ++i) {
      const CapturedPiece& a = again.pieces[i];
      const CapturedPiece& b = capture.pieces[i];
      if (a.time != b.time || a.arrived != b.arrived || a.bytes != b.bytes) std::abort();
    }
  } catch (const Failure&) {
    // refused
  }
  return 0;
}
