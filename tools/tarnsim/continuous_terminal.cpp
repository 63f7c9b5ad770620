#include "tools/tarnsim/continuous_terminal.hpp"

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
    : LineTerminal(std::move(indicator), std::move(line)),
      options_(options),
      clock_(options.framePeriod, options.firstFrame),
      nextPrint_(options.printEvery) {
  printSubscription_ =
      Scale().PrintPressed.Subscribe([this] { printFramesLeft_ = options_.printFrames; });
}

void ContinuousTerminal::Tick(double now) {
  PrintWhenDue(now);
  LineTerminal::Tick(now);
}

void ContinuousTerminal::Receive(std::string_view bytes) {
  for (const char c : bytes) {
    const auto command = commands_.Take(c);
    if (!command) continue;
    Noted.Raise(Name(command->key));
    Press(*command);
  }
}

void ContinuousTerminal::PrintWhenDue(double now) {
  if (options_.printEvery <= 0 || now < nextPrint_) return;
  nextPrint_ += options_.printEvery * (std::floor((now - nextPrint_) / options_.printEvery) + 1);
  Press({Key::Print});
}

std::string ContinuousTerminal::NextFrame(double start) {
  clock_.Began(start);
  const bool printRequest = printFramesLeft_ > 0;
  if (printRequest) --printFramesLeft_;
  return BuildContinuousFrame(options_.layout, Scale().Present(), printRequest);
}

}  // namespace tarn::sim
