// Writes files on a separate thread, so that a slow or full disk never holds up the loop.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "platform/line_writer.hpp"

namespace tarn::tool {

class FileQueue {
 public:
  /// Bytes that wait to be written at most.
  static constexpr std::size_t kBound = 4U << 20U;

  FileQueue();

  /// Appends the bytes to the file, or begins it anew with them. Returns false if too much waits,
  /// and the bytes are then lost. Names are UTF-8.
  bool Write(const std::string& name, std::string bytes, bool anew);
  /// The reason why a file could not be written, once for each; empty when there is none.
  std::string TakeFailure();
  /// Waits until everything is written; false if the time was not enough.
  bool Finish(std::chrono::milliseconds time) { return writer_.Finish(time); }

 private:
  struct State;

  std::shared_ptr<State> state_;
  LineWriter writer_;
};

/// The name of a file in a folder, which is made where it is missing.
std::string FileIn(const std::string& folder, const std::string& name);

}  // namespace tarn::tool
