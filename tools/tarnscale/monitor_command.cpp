// monitor: shows the scales of a settings file live in a terminal.
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/line_writer.hpp"
#include "tools/tarnscale/captured_lines.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/live_output.hpp"
#include "tools/tarnscale/live_screen.hpp"
#include "tools/tarnscale/monitor_model.hpp"
#include "tools/tarnscale/running_scales.hpp"

namespace tarn::tool {
namespace {

void Monitor(Program& program, const MonitorOptions& options, TarnScaleServer& server,
             LineWriter& writer) {
  const Outlets outlets(program, server, options.outlets);
  const std::string url = outlets.Url();
  StartScales(server);
  const std::string& file = program.Options().file;
  const auto capture = CaptureLines(program, server, options.capture);
  MonitorModel model(
      program.Host().Loop(), server,
      {.title = "tarnscale " + file + (url.empty() ? "" : "  " + url), .all = options.all},
      std::chrono::system_clock::now);
  if (model.RowCount() == 0) {
    throw Failure("no scale of '" + Printable(file) +
                  "' is set up: set one up with tarnscale set, or see all with --all");
  }
  const LiveScreen screen(program, model, writer, options.interval);
  const Subscription onKey =
      program.Output().KeyPressed.Subscribe([&capture](Console::Key key, char character) {
        if (capture && key == Console::Key::Character && character == 'w') capture->WriteLatest();
      });
  RunLoop(program, options.seconds);
}

}  // namespace

int MonitorCommand(Program& program, const MonitorOptions& options) {
  if (MonitorRunningServer(program, options)) return kSuccess;
  if (!program.Output().IsTerminal()) {
    return RunCommand(program, {.readingsOnly = true,
                                .seconds = options.seconds,
                                .capture = options.capture,
                                .outlets = options.outlets});
  }
  auto connection = program.StartServer();
  LineWriter writer([&program](std::string_view bytes) { program.Output().Write(bytes); });
  std::int32_t any = 0;
  Monitor(program, options, *connection->TarnScaleServer(any), writer);
  connection.reset();
  FinishOutput(program, writer, kSuccess);
  return kSuccess;
}

}  // namespace tarn::tool
