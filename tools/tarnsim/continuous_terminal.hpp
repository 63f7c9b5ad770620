// A terminal that sends its weight without being asked, frame after frame.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/event.hpp"
#include "tools/tarnsim/continuous_frame.hpp"
#include "tools/tarnsim/indicator.hpp"
#include "tools/tarnsim/paced_line.hpp"
#include "tools/tarnsim/terminal.hpp"
#include "tools/tarnsim/terminal_command.hpp"

namespace tarn::sim {

class ContinuousTerminal final : public Terminal {
 public:
  /// A program that was held up sends no more than so much of what it missed.
  static constexpr double kMostLag = 100;  // milliseconds

  struct Options {
    ContinuousLayout layout;
    double framePeriod = 100;  ///< milliseconds; 0 sends as fast as the line allows
    double firstFrame = 0;     ///< milliseconds after the start
    double printEvery = 0;     ///< milliseconds between prints of its own; 0 never
    int printFrames = 1;       ///< frames that carry the print request of one print
  };

  ContinuousTerminal(const Options& options, std::unique_ptr<Indicator> indicator,
                     std::unique_ptr<PacedLine> line);

  void Tick(double now) override;
  void Press(const TerminalCommand& command) override { indicator_->Press(command); }

  Event<std::string_view> Noted;      ///< commands and what became of them, the line's state
  Event<std::string_view> FrameSent;  ///< as it was before the faults

 private:
  void Receive(std::string_view bytes);
  void PrintWhenDue(double now);
  void SendFrames(double now);
  void SendFrame(double start);
  double NextFrame(double earliest);

  Options options_;
  std::unique_ptr<Indicator> indicator_;
  std::unique_ptr<PacedLine> line_;
  CommandReader commands_;
  double nextFrame_;
  double nextPrint_;
  int printFramesLeft_ = 0;
  Subscription printSubscription_;
  Subscription indicatorNoteSubscription_;
  Subscription lineNoteSubscription_;
  Subscription receiveSubscription_;
};

}  // namespace tarn::sim
