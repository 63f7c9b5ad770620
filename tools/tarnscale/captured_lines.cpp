#include "tools/tarnscale/captured_lines.hpp"

#include <string_view>

#include "platform/attempt.hpp"
#include "platform/program.hpp"

namespace tarn::tool {

std::unique_ptr<LineCapture> CaptureLines(Program& program, TarnScaleServer& server,
                                          const std::string& folder) {
  const auto capture = [&](const std::string& into) {
    return std::make_unique<LineCapture>(
        server, program.Host().Loop(), into, !folder.empty(),
        [&program](std::string_view text) { program.Host().Trace(text); });
  };
  if (!folder.empty()) return capture(folder);
  std::unique_ptr<LineCapture> quiet;
  Attempt(program.Host(), "What lines bring before an error is not kept",
          [&] { quiet = capture(ProgramDataFolder("tarnscale") + "/captures"); });
  return quiet;
}

}  // namespace tarn::tool
