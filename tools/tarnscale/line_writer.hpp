// Writes output on a thread of its own, so that a slow reader never holds up the scales.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace tarn::tool {

class LineWriter {
 public:
  /// Called on the thread with all that waits; may take as long as it likes. Never throws.
  using Sink = std::function<void(std::string_view bytes)>;

  explicit LineWriter(Sink sink);
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;
  /// Drops what still waits and joins the thread, so it lasts as long as the sink does: see Finish.
  ~LineWriter();

  /// Takes the bytes unless more than `bound` would then wait; false where it did not take them.
  bool TryWrite(std::string_view bytes, std::size_t bound);
  /// True when nothing waits or is being written.
  bool IsIdle() const;
  /// Waits until all is written; false where the time was not enough. The sink may then hang for
  /// ever, and the process had better end without this object's destructor.
  bool Finish(std::chrono::milliseconds time);

 private:
  void WriteWhatWaits();
  bool IsIdleLocked() const { return waiting_.empty() && !writing_; }

  Sink sink_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::string waiting_;
  bool writing_ = false;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace tarn::tool
