#include "platform/receive_buffer.hpp"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

namespace tarn {

ReceiveBuffer::ReceiveBuffer(MessageLoop& loop, std::function<void()> announce)
    : loop_(loop),
      announce_(std::move(announce)),
      quietTimer_(loop.CreateTimer()),
      alive_(std::make_shared<bool>(true)) {
  quietSubscription_ = quietTimer_->Tick.Subscribe([this] { QuietTick(); });
}

ReceiveBuffer::~ReceiveBuffer() {
  *alive_ = false;
}

void ReceiveBuffer::Threshold(std::int16_t length) {
  threshold_ = std::max<std::int16_t>(length, 1);
}

void ReceiveBuffer::EndCharacter(std::optional<char> end) {
  end_ = end;
  if (!end) {
    readable_ = bytes_.size();
  } else if (const auto last = bytes_.rfind(*end); last != std::string::npos) {
    readable_ = std::max(readable_, last + 1);
  }
}

void ReceiveBuffer::Arrived(std::string_view bytes) {
  if (bytes.empty()) return;
  if (front_ > 0 && (front_ == bytes_.size() || front_ >= kCompactAt)) DropRead();
  bytes_.append(bytes);
  lastArrival_ = loop_.Now();
  if (record_) record_->Entered(bytes, lastArrival_);
  ++changes_;

  if (!end_) {
    readable_ = bytes_.size();
  } else if (const auto last = bytes.rfind(*end_); last != std::string_view::npos) {
    readable_ = bytes_.size() - bytes.size() + last + 1;
    heldSince_ = lastArrival_;  // what follows this end character has its own time
  }
  DropBeyondBound();
  Announce();
}

std::int32_t ReceiveBuffer::Readable() const {
  return static_cast<std::int32_t>(readable_ - front_);
}

std::optional<char> ReceiveBuffer::Read() {
  if (front_ == readable_) return std::nullopt;
  ++changes_;
  return bytes_[front_++];
}

void ReceiveBuffer::Clear() {
  bytes_.clear();
  front_ = readable_ = 0;
  quietTimer_->Enabled(false);
}

/// With an end character the reader is woken for a whole frame, or for what the quiet line left.
bool ReceiveBuffer::Due() const {
  const auto threshold = static_cast<std::size_t>(threshold_);
  return readable_ - front_ >= threshold;
}

void ReceiveBuffer::Announce() {
  if (announcing_) return;
  announcing_ = true;
  // The handlers may read, close or destroy the port, or feed it (an echo) from inside.
  const std::shared_ptr<bool> alive = alive_;
  // A handler that fails over one frame must not cost the frames behind it.
  std::exception_ptr fault;
  while (*alive && Due()) {
    const std::uint64_t before = changes_;
    try {
      announce_();
    } catch (...) {
      if (!fault) fault = std::current_exception();
    }
    if (*alive && changes_ == before) break;
  }
  if (*alive) {
    announcing_ = false;
    WatchQuiet();
  }
  if (fault) std::rethrow_exception(fault);
}

/// What is held back, or stays below the threshold, needs no watching until it is a threshold's
/// worth: a reader is never woken for less.
void ReceiveBuffer::WatchQuiet() {
  const bool holding = end_ && bytes_.size() > readable_ &&
                       bytes_.size() - front_ >= static_cast<std::size_t>(threshold_);
  if (!holding) {
    quietTimer_->Enabled(false);
    return;
  }
  if (quietTimer_->Enabled()) return;
  heldSince_ = loop_.Now();
  quietTimer_->Interval(static_cast<std::int32_t>(std::ceil(QuietTime())));
  quietTimer_->Enabled(true);
}

void ReceiveBuffer::QuietTick() {
  // The timer is not restarted with every arrival; it looks how long ago the last one was instead.
  const double now = loop_.Now();
  const double quiet = QuietTime();
  const bool over = now - lastArrival_ >= quiet || now - heldSince_ >= quiet * kHoldFactor;
  if (!over) return;
  quietTimer_->Enabled(false);
  readable_ = bytes_.size();
  ++changes_;
  Announce();
}

double ReceiveBuffer::QuietTime() const {
  return std::max(kQuietFloor, kQuietCharacters * characterTime_);
}

void ReceiveBuffer::DropRead() {
  bytes_.erase(0, front_);
  readable_ -= front_;
  front_ = 0;
}

void ReceiveBuffer::DropBeyondBound() {
  const std::size_t waiting = bytes_.size() - front_;
  if (waiting <= kMaxWaiting) return;
  front_ += waiting - kMaxWaiting;
  readable_ = std::max(readable_, front_);
  DropRead();
}

}  // namespace tarn
