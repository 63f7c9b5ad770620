// Releases bytes at the speed of a serial line.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarn::sim {

/// Like the output buffer of a terminal, it takes the next bytes only after the line has carried
/// the former ones. Times are milliseconds of the caller's clock.
class LinePacer {
 public:
  explicit LinePacer(double characterTime) : characterTime_(characterTime) {}

  /// Begins to send at `start`, or later when the line becomes free. The line is then busy for at
  /// least `lineCharacters` character times, even when there are fewer bytes.
  void Send(std::string_view bytes, double start, std::size_t lineCharacters);
  /// Appends the characters that the line has carried whole since the last call.
  void Carry(double now, std::string& carried);
  /// Returns whether bytes are left to carry.
  bool Busy() const { return next_ < bytes_.size(); }
  /// Returns when the line will have carried everything.
  double FreeAt() const { return freeAt_; }
  /// Drops the bytes that are left.
  void Abandon() { next_ = bytes_.size(); }

 private:
  double characterTime_;
  std::string bytes_;
  std::size_t next_ = 0;
  double start_ = 0;
  double freeAt_ = 0;
};

}  // namespace tarn::sim
