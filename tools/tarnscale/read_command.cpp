// read: one weight of one scale, for scripts.
#include <chrono>
#include <string>

#include "base/number_text.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/one_scale.hpp"

namespace tarn::tool {
namespace {

const std::string& WeightOf(const Reading& reading, const ReadOptions& options) {
  return options.gross ? reading.gross : options.tare ? reading.tare : reading.net;
}

/// A terminal that sends only one weight leaves the others out.
bool IsWanted(const Reading& reading, const ReadOptions& options) {
  Reading shown = reading;
  shown.net = WeightOf(reading, options);
  return IsValidWeight(shown) && !(options.stable && reading.motion);
}

[[noreturn]] void FailWithout(const OneScale& scale, const ReadOptions& options) {
  const std::string within = " within " + GeneralNumberText(options.timeout) + " s";
  const auto& reading = scale.LatestReading();
  if (scale.LatestRecord())
    throw Failure(scale.Title() + " sends records of fields, not weights: see tarnscale run --help",
                  kRefused);
  if (!reading) {
    throw Failure(scale.Title() + ": no reading came" + within + ": is the terminal on and wired?",
                  kTimedOut);
  }
  if (IsValidWeight(*reading) && options.stable && reading->motion)
    throw Failure(scale.Title() + ": the weight did not come to rest" + within, kTimedOut);
  const std::string state = StateText(*reading);
  throw Failure(scale.Title() + ": no valid weight" + within + ": the latest was " +
                    WeightsText(*reading) + (state.empty() ? "" : " (" + state + ")"),
                kNoValidWeight);
}

}  // namespace

int ReadCommand(Program& program, const ReadOptions& options) {
  const auto opened = OpenScale(program, options.scale);
  OneScale& scale = *opened;
  if (scale.IsDisabled())
    throw Failure(scale.Title() + " is disabled; enable it with: tarnscale set " +
                      ShellWord(Printable(program.Options().file)) + " " +
                      std::to_string(scale.Number()) + " enabled=yes",
                  kRefused);
  scale.Start();
  const auto& reading = scale.LatestReading();
  const bool came =
      scale.WaitFor([&] { return reading && IsWanted(*reading, options); }, options.timeout);
  if (!came) FailWithout(scale, options);
  ScaleEvent event;
  event.time = std::chrono::system_clock::now();
  event.scale = scale.Number();
  event.alias = scale.Alias();
  event.reading = *reading;
  const std::string& weight = WeightOf(*reading, options);
  const auto first = weight.find_first_not_of(' ');
  program.Output().Write((options.json ? EventJson(event) : weight.substr(first)) + "\n");
  return kSuccess;
}

}  // namespace tarn::tool
