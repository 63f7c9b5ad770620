// What the commands that run until somebody ends them have in common.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "base/event.hpp"
#include "platform/line_writer.hpp"
#include "server/tarn_scale_server.hpp"
#include "tools/tarnscale/program.hpp"

namespace tarn::tool {

/// Runs the loop until Ctrl-C, a request to end, the end of the time, or the output's reader goes.
void RunLoop(Program& program, std::optional<double> seconds);

/// Why there is nothing to run; empty while at least one scale runs.
std::string WhyNothingRuns(TarnScaleServer& server, const std::string& file);

/// Links that break are connected again for as long as the program runs, whatever the file says:
/// nobody may be there to start the scales anew.
void KeepConnected(TarnScaleServer& server);

/// Gives the reader of the output a little time for the rest. One that does not take it is not
/// waited for: the process then ends here, with everything else stopped before.
void FinishOutput(Program& program, LineWriter& writer, int status);

}  // namespace tarn::tool
