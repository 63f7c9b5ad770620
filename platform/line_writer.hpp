// Writes output on a thread of its own, so that a slow reader never holds up the loop.
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
  /// Called on the thread with all that waits; may take as long as it likes. Never throws.
  using Sink = std::function<void(std::string_view bytes)>;

  explicit LineWriter(Sink sink);
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;
  /// Drops what still waits and joins the thread, so it lasts as long as the sink does; but where
  /// Finish has given the sink up, the thread is left alone with it.
  ~LineWriter();

  /// Takes the bytes unless more than `bound` would then wait; false where it did not take them.
  bool TryWrite(std::string_view bytes, std::size_t bound);
  /// True when nothing waits or is being written.
  bool IsIdle() const;
  /// Waits until all is written; false where the time was not enough. The sink may then hang for
  /// ever, and whatever it uses has to stay.
  bool Finish(std::chrono::milliseconds time);

 private:
  struct State;
  static void WriteWhatWaits(State& state);

  std::shared_ptr<State> state_;
  bool givenUp_ = false;
  std::thread thread_;
};

}  // namespace tarn
