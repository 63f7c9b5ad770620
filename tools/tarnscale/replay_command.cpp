// replay: feeds a captured line through its protocol and prints what happens.
#include <algorithm>
#include <cstdint>
#include <string>

#include "base/automation_error.hpp"
#include "platform/utf8.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/replay.hpp"

namespace tarn::tool {
namespace {

constexpr std::size_t kLongestCapture = 256U << 20U;

/// The time of the capture passes; Ctrl-C ends it.
class RealPace {
 public:
  explicit RealPace(Program& program) : program_(program) {
    onInterrupted_ = program.Output().Interrupted.Subscribe([this] { interrupted_ = true; });
  }

  void Wait(double milliseconds) {
    const auto enough = [this] { return interrupted_; };
    const auto whole = static_cast<std::int32_t>(std::min(milliseconds, 2e9));
    if (whole > 0) program_.Host().Loop().RunUntil(enough, whole);
    if (interrupted_) throw Failure("interrupted");
  }

 private:
  Program& program_;
  bool interrupted_ = false;
  Subscription onInterrupted_;
};

int ReportCuts(Program& program, const Capture& capture, const ReplayOptions& options) {
  const auto cut = FirstCutThatMatters(capture, options, program.Host().Locale());
  if (!cut) {
    program.Output().Write("every cut gives the same events\n");
    return kSuccess;
  }
  program.Complain("pieces that are cut behind " + std::to_string(*cut) +
                   " bytes give other events: see --cut");
  return kFailed;
}

}  // namespace

int ReplayCommand(Program& program, const ReplayCommandOptions& given) {
  Capture capture;
  try {
    capture = ReadCapture(program.Host().Files().Read(program.Options().file, kLongestCapture));
  } catch (const AutomationError& error) {
    throw Failure("cannot read '" + Printable(program.Options().file) + "': " + error.what());
  }
  ReplayOptions options;
  options.settings = given.settings;
  options.pieceLength = static_cast<std::size_t>(given.cut);
  options.trace = [&program](std::string_view text) { program.Complain(text); };
  if (given.everyCut) return ReportCuts(program, capture, options);
  RealPace pace(program);
  if (!given.fast) options.pause = [&pace](double milliseconds) { pace.Wait(milliseconds); };
  Replay(capture, options, program.Host().Locale(), [&](const ScaleEvent& event) {
    program.Output().Write(given.json ? EventJson(event) + "\n" : ReplayLine(event));
  });
  return kSuccess;
}

}  // namespace tarn::tool
