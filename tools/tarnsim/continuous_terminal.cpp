#include "tools/tarnsim/continuous_terminal.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tarn::sim {
namespace {

using Key = TerminalCommand::Key;

std::string_view Name(Key key) {
  switch (key) {
    case Key::Clear:
      return "command C";
    case Key::Tare:
      return "command T";
    case Key::PresetTare:
      return "command preset tare";
    case Key::Zero:
      return "command Z";
    case Key::Print:
      return "command P";
  }
  return {};
}

}  // namespace

ContinuousTerminal::ContinuousTerminal(const Options& options, std::unique_ptr<Indicator> indicator,
                                       std::unique_ptr<PacedLine> line)
    : options_(options),
      indicator_(std::move(indicator)),
      line_(std::move(line)),
      nextFrame_(options.firstFrame),
      nextPrint_(options.printEvery) {
  printSubscription_ =
      indicator_->PrintPressed.Subscribe([this] { printFramesLeft_ = options_.printFrames; });
  const auto note = [this](std::string_view text) { Noted.Raise(text); };
  indicatorNoteSubscription_ = indicator_->Noted.Subscribe(note);
  lineNoteSubscription_ = line_->Noted.Subscribe(note);
  receiveSubscription_ =
      line_->Received().Subscribe([this](std::string_view bytes) { Receive(bytes); });
}

void ContinuousTerminal::Tick(double now) {
  PrintWhenDue(now);
  if (line_->Follow(now)) SendFrames(now);
  // The platform lives on while the line is away or silent.
  indicator_->AdvanceTo(now);
}

void ContinuousTerminal::Receive(std::string_view bytes) {
  for (const char c : bytes) {
    const auto command = commands_.Take(c);
    if (!command) continue;
    Noted.Raise(Name(command->key));
    indicator_->Press(*command);
  }
}

void ContinuousTerminal::PrintWhenDue(double now) {
  if (options_.printEvery <= 0 || now < nextPrint_) return;
  nextPrint_ += options_.printEvery * (std::floor((now - nextPrint_) / options_.printEvery) + 1);
  indicator_->Press({Key::Print});
}

void ContinuousTerminal::SendFrames(double now) {
  while (line_->Carry(now)) {
    const double start = NextFrame(std::max(line_->FreeAt(), now - kMostLag));
    if (start > now) break;
    SendFrame(start);
  }
  line_->Flush();
}

void ContinuousTerminal::SendFrame(double start) {
  indicator_->AdvanceTo(start);
  const std::string frame =
      BuildContinuousFrame(options_.layout, indicator_->Present(), printFramesLeft_ > 0);
  if (printFramesLeft_ > 0) --printFramesLeft_;
  line_->Send(frame, start);
  nextFrame_ = start + options_.framePeriod;
  FrameSent.Raise(frame);
}

/// When the next frame begins; those that came due before the line was free are passed over.
double ContinuousTerminal::NextFrame(double earliest) {
  if (nextFrame_ >= earliest) return nextFrame_;
  if (options_.framePeriod <= 0) return earliest;
  const double missed = std::ceil((earliest - nextFrame_) / options_.framePeriod);
  nextFrame_ += missed * options_.framePeriod;
  return nextFrame_;
}

}  // namespace tarn::sim
