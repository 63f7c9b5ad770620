#include "tools/tarnsim/paced_line.hpp"

#include <utility>

namespace tarn::sim {

PacedLine::PacedLine(std::unique_ptr<TerminalLine> line, double characterTime, Pace pace,
                     const FaultInjector& faults)
    : line_(std::move(line)), pacer_(characterTime), pace_(pace), faults_(faults) {}

bool PacedLine::Follow(double now) {
  if (faults_.Vanished(now)) {
    if (line_->IsAttached()) Vanish();
    return false;
  }
  if (line_->IsAttached()) return true;
  if (now < retryAt_) return false;
  retryAt_ = now + kRetryTime;
  line_->Attach();
  Noted.Raise("line back");
  return true;
}

void PacedLine::Vanish() {
  line_->Detach();
  pacer_.Abandon();
  carried_.clear();
  Noted.Raise("line gone");
}

void PacedLine::Send(std::string_view frame, double start) {
  pacer_.Send(faults_.Spoil(frame, start), start, frame.size());
}

bool PacedLine::Carry(double now) {
  pacer_.Carry(now, carried_);
  return !pacer_.Busy();
}

void PacedLine::Flush() {
  if (carried_.empty()) return;
  const std::size_t piece = pace_ == Pace::Characters ? 1 : carried_.size();
  for (std::size_t sent = 0; sent < carried_.size(); sent += piece) {
    line_->Write(std::string_view(carried_).substr(sent, piece));
  }
  carried_.clear();
}

}  // namespace tarn::sim
