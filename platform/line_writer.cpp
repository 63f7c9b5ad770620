#include "platform/line_writer.hpp"

#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>

namespace tarn {

struct LineWriter::State {
  explicit State(Sink s) : sink(std::move(s)) {}
  bool IsIdle() const { return waiting.empty() && !writing; }

  Sink sink;
  std::mutex mutex;  // for what follows
  std::condition_variable changed;
  std::string waiting;
  bool writing = false;
  bool stopping = false;
};

LineWriter::LineWriter(Sink sink, DirectSink direct)
    : state_(std::make_shared<State>(std::move(sink))),
      direct_(std::move(direct)),
      thread_([state = state_] { WriteWhatWaits(*state); }) {}

LineWriter::~LineWriter() {
  bool hangs = false;
  {
    const std::lock_guard lock(state_->mutex);
    state_->stopping = true;
    state_->waiting.clear();
    hangs = givenUp_ && state_->writing;
  }
  state_->changed.notify_all();
  if (hangs)
    thread_.detach();
  else
    thread_.join();
}

bool LineWriter::TryWrite(std::string_view bytes, std::size_t bound) {
  {
    const std::lock_guard lock(state_->mutex);
    if (state_->waiting.size() + bytes.size() > bound) return false;
    if (direct_ && state_->IsIdle()) bytes.remove_prefix(direct_(bytes));
    if (bytes.empty()) return true;
    state_->waiting += bytes;
  }
  state_->changed.notify_all();
  return true;
}

bool LineWriter::IsIdle() const {
  const std::lock_guard lock(state_->mutex);
  return state_->IsIdle();
}

bool LineWriter::Finish(std::chrono::milliseconds time) {
  std::unique_lock lock(state_->mutex);
  givenUp_ = !state_->changed.wait_for(lock, time, [this] { return state_->IsIdle(); });
  return !givenUp_;
}

void LineWriter::WriteWhatWaits(State& state) {
  std::unique_lock lock(state.mutex);
  while (true) {
    state.changed.wait(lock, [&] { return state.stopping || !state.waiting.empty(); });
    if (state.stopping) return;
    const std::string batch = std::exchange(state.waiting, {});
    state.writing = true;
    lock.unlock();
    state.sink(batch);
    lock.lock();
    state.writing = false;
    state.changed.notify_all();
  }
}

}  // namespace tarn
