// Lets bytes go at the speed at which a serial line would carry them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarn::sim {

/// One output buffer, as a terminal has: what is being sent must be carried before more is taken.
/// Times are milliseconds of one clock that the caller reads.
class LinePacer {
 public:
  explicit LinePacer(double characterTime) : characterTime_(characterTime) {}

  /// Begins to send, not before the line is free. The line stays taken for `lineCharacters`
  /// character times, also where fewer bytes go out.
  void Send(std::string_view bytes, double start, std::size_t lineCharacters);
  /// Appends what the line has carried since the last call. A character counts once it has passed
  /// whole.
  void Carry(double now, std::string& carried);
  /// Bytes are still to be carried.
  bool Busy() const { return next_ < bytes_.size(); }
  /// When the line has carried all of what it was given.
  double FreeAt() const { return freeAt_; }
  /// Forgets what was not carried.
  void Abandon() { next_ = bytes_.size(); }

 private:
  double characterTime_;
  std::string bytes_;
  std::size_t next_ = 0;
  double start_ = 0;
  double freeAt_ = 0;
};

}  // namespace tarn::sim
