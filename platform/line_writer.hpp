// Writes output without ever holding up the loop: at once while the reader keeps up, on a separate
// thread when it does not.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>
#include <thread>

namespace tarn {

class LineWriter {
 public:
  /// Called on the thread with everything that waits; may take any length of time. Never throws.
  using Sink = std::function<void(std::string_view bytes)>;
  /// Called by TryWrite while nothing waits: writes what can be written without waiting, and
  /// returns how many bytes that were. Never throws.
  using DirectSink = std::function<std::size_t(std::string_view bytes)>;

  /// Without `direct` everything is written on the thread.
  explicit LineWriter(Sink sink, DirectSink direct = {});
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;
  /// Discards what still waits and joins the thread, which takes as long as the sink does. If
  /// Finish has given the sink up, the thread is not joined.
  ~LineWriter();

  /// Takes the bytes unless more than `bound` would then wait; false if it did not take them.
  bool TryWrite(std::string_view bytes, std::size_t bound);
  /// True when nothing waits or is being written.
  bool IsIdle() const;
  /// Waits until everything is written; false if the time was not enough. The sink may then hang
  /// indefinitely, and what it uses must not be destroyed.
  bool Finish(std::chrono::milliseconds time);

 private:
  struct State;
  static void WriteWhatWaits(State& state);

  std::shared_ptr<State> state_;
  DirectSink direct_;
  bool givenUp_ = false;
  std::thread thread_;
};

}  // namespace tarn
