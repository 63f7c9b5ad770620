#include "tools/tarnscale/line_writer.hpp"

#include <utility>

namespace tarn::tool {

LineWriter::LineWriter(Sink sink) : sink_(std::move(sink)), thread_([this] { WriteWhatWaits(); }) {}

LineWriter::~LineWriter() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    waiting_.clear();
  }
  changed_.notify_all();
  thread_.join();
}

bool LineWriter::TryWrite(std::string_view bytes, std::size_t bound) {
  {
    const std::lock_guard lock(mutex_);
    if (waiting_.size() + bytes.size() > bound) return false;
    waiting_ += bytes;
  }
  changed_.notify_all();
  return true;
}

bool LineWriter::IsIdle() const {
  const std::lock_guard lock(mutex_);
  return IsIdleLocked();
}

bool LineWriter::Finish(std::chrono::milliseconds time) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, time, [this] { return IsIdleLocked(); });
}

void LineWriter::WriteWhatWaits() {
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [this] { return stopping_ || !waiting_.empty(); });
    if (stopping_) return;
    const std::string batch = std::exchange(waiting_, {});
    writing_ = true;
    lock.unlock();
    sink_(batch);
    lock.lock();
    writing_ = false;
    changed_.notify_all();
  }
}

}  // namespace tarn::tool
