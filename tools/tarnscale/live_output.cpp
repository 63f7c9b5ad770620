#include "tools/tarnscale/live_output.hpp"

#include <algorithm>
#include <chrono>
#include <limits>

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

void FinishOutput(Program& program, LineWriter& writer, int status) {
  constexpr std::chrono::seconds kPatience{2};
  if (!writer.Finish(kPatience)) program.EndNow(status);
}

}  // namespace tarn::tool
