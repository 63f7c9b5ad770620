// run: runs the scales of a settings file and writes what happens, a line each.
#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <set>
#include <vector>

#include "outlets/event_watch.hpp"
#include "platform/line_writer.hpp"
#include "tools/tarnscale/captured_lines.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/event_filter.hpp"
#include "tools/tarnscale/event_output.hpp"
#include "tools/tarnscale/live_output.hpp"
#include "tools/tarnscale/running_scales.hpp"
#include "tools/tarnscale/scale_file.hpp"
#include "tools/tarnscale/service_report.hpp"

namespace tarn::tool {
namespace {

/// Who chooses among the readings, or counts lines, wants no lines about lamps.
bool WantsReadingsOnly(const RunOptions& options) {
  return options.readingsOnly || options.csv || options.stable || options.changes ||
         options.every > 0 || options.count;
}

/// Reports on standard error; JSON output reports the failures too, for the program that reads it.
void ReportFailures(Program& program, const std::vector<StartFailure>& failures,
                    const RunOptions& options, EventOutput& output) {
  const WallTime now = std::chrono::system_clock::now();
  for (const ScaleEvent& event : FailureEvents(failures, now)) {
    program.Complain(EventWords(event));
    if (options.json && !WantsReadingsOnly(options)) output.Write(event);
  }
}

void ReopenLog(Program& program, TarnScaleServer& server) {
  try {
    server.ReopenLog();
  } catch (const std::exception& error) {
    program.Complain(std::string("the activity log goes on in its former file: ") + error.what());
  }
}

std::vector<StartFailure> ReloadSettings(Program& program, TarnScaleServer& server,
                                         const std::set<int>& scales) {
  const std::string file = "'" + Printable(program.Options().file) + "'";
  try {
    const Reloaded done =
        server.Reload([&scales](TarnScale& scale) { PrepareScale(scale, scales); });
    program.Say("reloaded " + file + ": " + ReloadWords(done, server));
    return done.failures;
  } catch (const std::exception& error) {
    program.Complain(file + " is not reloaded, all scales run on as they are: " + error.what());
    return {};
  }
}

int RunScales(Program& program, const RunOptions& options, TarnScaleServer& server,
              EventOutput& output) {
  const std::set<int> scales = ScaleNumbers(options.scales);
  EventFilter filter({.stable = options.stable,
                      .changes = options.changes,
                      .every = options.every,
                      .count = options.count});
  const auto capture = CaptureLines(program, server, options.capture);
  const Outlets outlets(program, server, options.outlets);
  StartScales(server, scales);
  ReportFailures(program, server.StartFailures(), options, output);
  if (const std::string hint = StartHint(server); !hint.empty()) program.Say(hint);
  const std::string reason = WhyNothingRuns(server, program.Options().file, scales);
  if (!reason.empty()) {
    program.Complain(reason);
    return kFailed;
  }
  const EventWatch watch(server,
                         {.readingsOnly = WantsReadingsOnly(options), .updates = options.updates},
                         std::chrono::system_clock::now, [&](const ScaleEvent& event) {
                           if (!filter.Passes(event)) return;
                           output.Write(event);
                           if (filter.IsDone()) program.Host().Loop().Quit();
                         });
  ServiceReport report(program.Host().CreateServiceManager(), program.Host().Loop(), server);
  const Subscription onReload = program.Output().ReloadAsked.Subscribe([&] {
    report.Reloading();
    ReopenLog(program, server);
    ReportFailures(program, ReloadSettings(program, server, scales), options, output);
    report.Ready();
  });
  RunLoop(program, options.seconds);
  return options.count && !filter.IsDone() ? kTimedOut : kSuccess;
}

}  // namespace

int RunCommand(Program& program, const RunOptions& options) {
  auto connection = program.StartServer();
  LineWriter writer(
      [&program](std::string_view bytes) { program.Output().Write(bytes); },
      [&program](std::string_view bytes) { return program.Output().WriteNow(bytes); });
  EventOutput output(options.json  ? EventJson
                     : options.csv ? EventCsv
                                   : EventText,
                     [&writer](std::string_view bytes, std::size_t bound) {
                       return writer.TryWrite(bytes, bound);
                     });
  if (options.csv) writer.TryWrite(std::string(kCsvHeader) + "\n", EventOutput::kEventBound);
  std::int32_t any = 0;
  const int status = RunScales(program, options, *connection->TarnScaleServer(any), output);
  connection.reset();
  output.ReportLost(std::chrono::system_clock::now());
  FinishOutput(program, writer, status);
  return status;
}

}  // namespace tarn::tool
