// Reads and writes files by name. Names are UTF-8; a relative name resolves against the current
// directory.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/text_stream.hpp"

namespace tarn {

class Files {
 public:
  Files() = default;
  Files(const Files&) = delete;
  Files& operator=(const Files&) = delete;
  virtual ~Files() = default;

  /// Opens for appending, creating the file when missing. A device or a pipe that takes no more
  /// output refuses lines rather than block. Errors: 75 no such folder, 70 no permission, 57
  /// another failure.
  virtual std::unique_ptr<TextStream> OpenForAppending(const std::string& name) = 0;

  /// The first `maxBytes` of a file, or all of it when shorter. Errors: 53 no such file, 70, 57.
  virtual std::string Read(const std::string& name, std::size_t maxBytes) = 0;

  /// Writes the bytes at the beginning of a file; a longer old file keeps its tail behind them. The
  /// new file is written whole beside the old one and then takes its place, so a crash or a full
  /// disk leaves the old file as it was; the file keeps its permissions in any case. A file that
  /// cannot be replaced like that, for example since it is mounted by itself, is written in place,
  /// and the trace says so. Errors: 75, 70, 61, 57.
  virtual void WriteAtBeginning(const std::string& name, std::string_view bytes) = 0;

  /// The name with its folder, which is what a relative name means at this moment.
  virtual std::string AbsoluteName(const std::string& name) = 0;
};

}  // namespace tarn
