// A text file open for appending.
#pragma once

#include <string_view>

namespace tarn {

class TextStream {
 public:
  TextStream() = default;
  TextStream(const TextStream&) = delete;
  TextStream& operator=(const TextStream&) = delete;
  virtual ~TextStream() = default;

  /// Appends a line and CR LF, in the single-byte code page ("?" for what it does not have). Lines
  /// are gathered and written in blocks. With an error the line counts as not taken.
  /// Errors: 61 the disk is full, 57 another failure, 91 the stream is closed.
  virtual void WriteLine(std::string_view text) = 0;
  /// From now on each line is handed to the system at once, so that it outlives this process, and a
  /// separate thread has the disk store it, so that it outlives a power failure a moment later.
  virtual void StoreEachLine() {}
  /// Writes out what is gathered and closes; a second call does nothing. Errors as WriteLine's.
  virtual void Close() = 0;
};

}  // namespace tarn
