// What run and monitor keep of the bytes of their lines.
#pragma once

#include <memory>
#include <string>

#include "server/tarn_scale_server.hpp"
#include "tools/tarnscale/line_tape.hpp"
#include "tools/tarnscale/program.hpp"

namespace tarn::tool {

/// Captures the lines of the server, which outlives the result, into that folder; with an empty one
/// only what they bring before an error, into the program's own folder.
std::unique_ptr<LineCapture> CaptureLines(Program& program, TarnScaleServer& server,
                                          const std::string& folder);

}  // namespace tarn::tool
