#include "tools/tarnscale/running_scales.hpp"

#include <cstdint>

#include "connections/reconnector.hpp"
#include "platform/attempt.hpp"
#include "platform/program.hpp"
#include "tools/tarnscale/display_text.hpp"

namespace tarn::tool {

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
