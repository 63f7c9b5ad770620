// Output that goes on until somebody ends the program.
#pragma once

#include <optional>

#include "platform/line_writer.hpp"
#include "tools/tarnscale/program.hpp"

namespace tarn::tool {

/// Runs the loop until Ctrl-C, a request to end, the end of the given time, or the moment when the
/// reader of the output goes away.
void RunLoop(Program& program, std::optional<double> seconds);

/// Gives the reader of the output two seconds to take what is left. If that is not enough, the
/// process ends here with this status; everything else must have stopped before.
void FinishOutput(Program& program, LineWriter& writer, int status);

}  // namespace tarn::tool
