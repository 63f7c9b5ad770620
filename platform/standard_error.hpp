// Lines on standard error for those who look after the program.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/line_writer.hpp"

namespace tarn {

/// Writes on a separate thread, so that a stopped terminal, or a pipe that nobody reads, holds up
/// nothing else. The lines that such a reader leaves behind wait up to kBound bytes;
/// beyond that they are dropped, and one line says how many. The thread is made with the first
/// line, behind the program's console, whose signals it must not take.
class StandardError {
 public:
  static constexpr std::size_t kBound = 64U << 10U;

  StandardError() = default;
  StandardError(const StandardError&) = delete;
  StandardError& operator=(const StandardError&) = delete;
  ~StandardError() { Finish(); }

  void WriteLine(std::string_view line);
  /// Gives the reader a second for the rest.
  void Finish();

 private:
  bool TryWrite(const std::string& bytes);

  std::optional<LineWriter> writer_;
  std::size_t dropped_ = 0;
};

/// The trace of a host whose program names no other.
std::function<void(std::string_view)> TraceToStandardError();

/// Hands bytes to the system, however long that takes. From any thread.
void WriteToStandardError(std::string_view bytes);

}  // namespace tarn
