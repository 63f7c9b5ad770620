// A scale that sends frames of a fixed layout: one after the other, or one for each ENQ.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tools/tarnsim/fixed_frame.hpp"
#include "tools/tarnsim/line_terminal.hpp"

namespace tarn::sim {

class FixedTerminal final : public LineTerminal {
 public:
  struct Options {
    FixedFrameOptions frame;
    double framePeriod = 100;  ///< milliseconds; 0 sends as fast as the line allows
    double firstFrame = 0;     ///< milliseconds after the start
  };

  FixedTerminal(const Options& options, std::unique_ptr<Indicator> indicator,
                std::unique_ptr<PacedLine> line)
      : LineTerminal(std::move(indicator), std::move(line)),
        options_(options),
        clock_(options.framePeriod, options.firstFrame) {}

 private:
  static constexpr char kEnq = '\x05';

  void Receive(std::string_view bytes) override;
  double NextStart(double earliest) override;
  std::string NextFrame(double start) override;

  Options options_;
  FrameClock clock_;
  double askedAt_ = kNever;  ///< an ENQ that comes while one waits asks for the same frame
};

}  // namespace tarn::sim
