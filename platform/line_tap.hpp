// Who sees the bytes of a line as they come and go, beside the one who reads and writes them.
#pragma once

#include <string_view>

namespace tarn {

/// Called from the loop, inside what reads or writes the line, so neither may throw, wait, or touch
/// the line.
class LineTap {
 public:
  LineTap() = default;
  LineTap(const LineTap&) = delete;
  LineTap& operator=(const LineTap&) = delete;
  virtual ~LineTap() = default;

  /// One piece as the system delivered it, or one datagram, before any handler of it.
  virtual void Arrived(std::string_view bytes) = 0;
  /// What one write has handed over to be sent.
  virtual void Sent(std::string_view bytes) = 0;
};

}  // namespace tarn
