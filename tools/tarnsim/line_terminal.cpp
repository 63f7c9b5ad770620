#include "tools/tarnsim/line_terminal.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tarn::sim {

double FrameClock::Next(double earliest) {
  if (next_ >= earliest) return next_;
  if (period_ <= 0) return earliest;
  const double missed = std::ceil((earliest - next_) / period_);
  next_ += missed * period_;
  return next_;
}

LineTerminal::LineTerminal(std::unique_ptr<Indicator> indicator, std::unique_ptr<PacedLine> line)
    : indicator_(std::move(indicator)), line_(std::move(line)) {
  const auto note = [this](std::string_view text) { Noted.Raise(text); };
  indicatorNoteSubscription_ = indicator_->Noted.Subscribe(note);
  lineNoteSubscription_ = line_->Noted.Subscribe(note);
  receiveSubscription_ =
      line_->Received().Subscribe([this](std::string_view bytes) { Receive(bytes); });
}

void LineTerminal::Tick(double now) {
  now_ = now;
  if (line_->Follow(now)) SendFrames();
  indicator_->AdvanceTo(now);
}

void LineTerminal::SendFrames() {
  while (line_->Carry(now_)) {
    const double start = NextStart(std::max(line_->FreeAt(), now_ - kMostLag));
    if (start > now_) break;
    indicator_->AdvanceTo(start);
    const std::string frame = NextFrame(start);
    line_->Send(frame, start);
    FrameSent.Raise(frame);
  }
  line_->Flush();
}

}  // namespace tarn::sim
