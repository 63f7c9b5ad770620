#include "tools/tarnscale/live_output.hpp"

#include <algorithm>
#include <chrono>
#include <limits>

#include "connections/reconnector.hpp"
#include "tools/tarnscale/display_text.hpp"

namespace tarn::tool {

void RunLoop(Program& program, std::optional<double> seconds) {
  MessageLoop& loop = program.Host().Loop();
  const auto end = [&loop] { loop.Quit(); };
  const auto timer = loop.CreateTimer();
  const Subscription onInterrupted = program.Output().Interrupted.Subscribe(end);
  const Subscription onTime = timer->Tick.Subscribe(end);
  if (seconds) {
    constexpr double kLongest = std::numeric_limits<std::int32_t>::max();
    timer->Interval(static_cast<std::int32_t>(std::clamp(*seconds * 1000, 1.0, kLongest)));
    timer->Enabled(true);
  }
  loop.Run();
}

std::string WhyNothingRuns(TarnScaleServer& server, const std::string& file) {
  int enabled = 0;
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    const auto scale = server.GetScale(number);
    if (scale && !scale->Disabled()) ++enabled;
  }
  const std::string shown = Printable(file);
  if (enabled == 0) {
    return "no scale of '" + shown + "' is enabled: enable one with: tarnscale set " +
           ShellWord(shown) + " 1 enabled=yes";
  }
  int failed = 0;
  for (const StartFailure& failure : server.StartFailures()) {
    if (server.GetScale(failure.number)) ++failed;
  }
  return failed < enabled ? "" : "no scale of '" + shown + "' runs, for the reasons above";
}

void KeepConnected(TarnScaleServer& server) {
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    const auto scale = server.GetScale(number);
    if (!scale) continue;
    const auto link = std::dynamic_pointer_cast<ReconnectingConnection>(scale->Connection());
    if (link) link->AutoReconnect(true);
  }
}

void FinishOutput(Program& program, LineWriter& writer, int status) {
  constexpr std::chrono::seconds kPatience{2};
  if (!writer.Finish(kPatience)) program.EndNow(status);
}

}  // namespace tarn::tool
