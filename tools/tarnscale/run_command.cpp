// run: runs the scales of a settings file and writes what happens, a line each.
#include <chrono>
#include <cstdint>
#include <memory>

#include "platform/line_writer.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/event_output.hpp"
#include "tools/tarnscale/event_watch.hpp"
#include "tools/tarnscale/live_output.hpp"
#include "tools/tarnscale/running_scales.hpp"

namespace tarn::tool {
namespace {

bool IsSerial(TarnScaleServer& server, int number) {
  const auto scale = server.GetScale(static_cast<std::int16_t>(number));
  const auto connection = scale ? scale->Connection() : nullptr;
  return connection && connection->Ctype() == ConnectionType::serial;
}

/// Reports on standard error; JSON output reports the failures too, for the program that reads it.
void ReportFailures(Program& program, TarnScaleServer& server, const RunOptions& options,
                    EventOutput& output) {
  bool anyPort = false;
  const WallTime now = std::chrono::system_clock::now();
  for (const ScaleEvent& event : FailureEvents(server.StartFailures(), now)) {
    program.Complain(ScaleTitle(event.scale, event.alias) + ": " + Printable(event.message));
    if (options.json && !options.readingsOnly) output.Write(event);
    anyPort = anyPort || IsSerial(server, event.scale);
  }
  if (!anyPort) return;
  program.Say(
      "--port N=DEVICE names the device of serial port N; on Linux the user needs the group of "
      "the device, usually dialout");
}

int RunScales(Program& program, const RunOptions& options, TarnScaleServer& server,
              EventOutput& output) {
  const auto capture = CaptureLines(program, server, options.capture);
  ReportFailures(program, server, options, output);
  const std::string reason = WhyNothingRuns(server, program.Options().file);
  if (!reason.empty()) {
    program.Complain(reason);
    return kFailed;
  }
  const EventWatch watch(server, {.readingsOnly = options.readingsOnly, .updates = options.updates},
                         std::chrono::system_clock::now,
                         [&output](const ScaleEvent& event) { output.Write(event); });
  KeepConnected(server);
  RunLoop(program, options.seconds);
  return kSuccess;
}

}  // namespace

int RunCommand(Program& program, const RunOptions& options) {
  auto connection = program.StartServer();
  LineWriter writer([&program](std::string_view bytes) { program.Output().Write(bytes); });
  EventOutput output(options.json, [&writer](std::string_view bytes, std::size_t bound) {
    return writer.TryWrite(bytes, bound);
  });
  std::int32_t any = 0;
  const int status = RunScales(program, options, *connection->TarnScaleServer(any), output);
  connection.reset();
  output.ReportLost(std::chrono::system_clock::now());
  FinishOutput(program, writer, status);
  return status;
}

}  // namespace tarn::tool
