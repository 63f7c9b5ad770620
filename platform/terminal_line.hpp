// The terminal's end of a line, for simulated terminals. For a serial line it is a pseudo-terminal
// that a port can open on POSIX, and the far COM port of a pair on Windows. For a TCP connection it
// is a port that is listened to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/event.hpp"

namespace tarn {

class TerminalLine {
 public:
  TerminalLine() = default;
  TerminalLine(const TerminalLine&) = delete;
  TerminalLine& operator=(const TerminalLine&) = delete;
  virtual ~TerminalLine() = default;

  /// Makes the line available at its place (a path on POSIX, COMn on Windows); CreateTerminalLine
  /// has done so. Errors: 75 the place cannot be made or is taken by something else, 70, 57.
  virtual void Attach() = 0;
  /// Takes the line away, as when an adapter is unplugged; the place is gone until Attach.
  virtual void Detach() = 0;
  virtual bool IsAttached() const = 0;

  /// Sends what the line takes now and discards the rest, as a terminal does whose line nobody
  /// reads. Returns how many bytes were sent; 0 while detached.
  virtual std::size_t Write(std::string_view bytes) = 0;

  /// The speed that the port at the other end has set; 0 where none has, or the line does not show
  /// it.
  virtual std::int32_t ReaderSpeed() const { return 0; }

  Event<std::string_view> Received;
};

}  // namespace tarn
