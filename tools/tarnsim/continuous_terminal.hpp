// A terminal that sends its weight without being asked, frame after frame.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/event.hpp"
#include "tools/tarnsim/continuous_frame.hpp"
#include "tools/tarnsim/line_terminal.hpp"
#include "tools/tarnsim/terminal_command.hpp"

namespace tarn::sim {

class ContinuousTerminal final : public LineTerminal {
 public:
  struct Options {
    ContinuousLayout layout;
    double framePeriod = 100;  ///< milliseconds; 0 sends as fast as the line allows
    double firstFrame = 0;     ///< milliseconds after the start
    double printEvery = 0;     ///< milliseconds between automatic prints; 0 for never
    int printFrames = 1;       ///< frames that carry the print request of one print
  };

  ContinuousTerminal(const Options& options, std::unique_ptr<Indicator> indicator,
                     std::unique_ptr<PacedLine> line);

  void Tick(double now) override;

 private:
  void Receive(std::string_view bytes) override;
  double NextStart(double earliest) override { return clock_.Next(earliest); }
  std::string NextFrame(double start) override;
  void PrintWhenDue(double now);

  Options options_;
  CommandReader commands_;
  FrameClock clock_;
  double nextPrint_;
  int printFramesLeft_ = 0;
  Subscription printSubscription_;
};

}  // namespace tarn::sim
