// monitor, where a tarnscale runs the scales already.
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/line_writer.hpp"
#include "tools/tarnscale/attached.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/event_output.hpp"
#include "tools/tarnscale/event_table.hpp"
#include "tools/tarnscale/live_output.hpp"
#include "tools/tarnscale/live_screen.hpp"

namespace tarn::tool {
namespace {

std::vector<EventTable::Row> RowsOf(Program& program, const RemoteSource& source) {
  if (program.Options().at.empty()) {
    ScaleFile file(program.Host(), program.Options().file);
    file.Load();
    return EventTable::RowsOf(file);
  }
  std::vector<EventTable::Row> rows;
  for (const int number : source.Scales()) rows.push_back({number, source.State(number)->alias});
  return rows;
}

/// What is known when the table appears, before anything happens.
void ShowPresent(EventTable& table, const RemoteSource& source, WallTime now) {
  for (const int number : source.Scales()) {
    const ScaleState state = *source.State(number);
    ScaleEvent event;
    event.kind = ScaleEvent::Kind::StatusChange;
    event.time = now;
    event.scale = number;
    event.alias = state.alias;
    event.reading = state.reading;
    table.HandleEvent(event);
  }
}

std::string Answer(const RemoteSource& source, int scale, const ScaleCommand& command,
                   const CommandResult& result) {
  const auto state = source.State(scale);
  const std::string what =
      ScaleTitle(scale, state ? state->alias : std::string()) + ": " + std::string(command.name);
  if (result.status != CommandResult::Status::Given) return what + ": " + Printable(result.words);
  return what + (GoesToTerminal(command.command) ? " sent" : " asked for");
}

void ShowTable(Program& program, const MonitorOptions& options, RemoteSource& source,
               LineWriter& writer) {
  const CommonOptions& common = program.Options();
  const auto clock = std::chrono::system_clock::now;
  EventTable table(program.Host().Loop(), RowsOf(program, source),
                   "tarnscale at " + (common.at.empty() ? common.file : common.at), clock);
  table.OnCommand([&](int scale, const ScaleCommand& command, double tare) {
    source.Give(scale, command, tare, [&, scale](const CommandResult& result) {
      table.Note(Answer(source, scale, command, result));
    });
  });
  ShowPresent(table, source, clock());
  const Subscription onEvent =
      source.Happened.Subscribe([&table](const ScaleEvent& event) { table.HandleEvent(event); });
  const Subscription onConnection = source.ConnectionChanged.Subscribe([&] {
    if (!source.IsConnected()) return table.Disconnected(source.Trouble());
    table.Note("connected to the server");
    ShowPresent(table, source, clock());
  });
  const LiveScreen screen(program, table, writer, options.interval);
  RunLoop(program, options.seconds);
}

void PrintReadings(Program& program, const MonitorOptions& options, RemoteSource& source,
                   LineWriter& writer) {
  EventOutput output(EventText, [&writer](std::string_view bytes, std::size_t bound) {
    return writer.TryWrite(bytes, bound);
  });
  const Subscription onEvent = source.Happened.Subscribe([&output](const ScaleEvent& event) {
    if (event.IsReading() || event.kind == ScaleEvent::Kind::PrintRecord) output.Write(event);
  });
  const Subscription onConnection = source.ConnectionChanged.Subscribe([&] {
    program.Say(source.IsConnected() ? "connected to the server"
                                     : "no connection to the server: " + source.Trouble());
  });
  RunLoop(program, options.seconds);
}

}  // namespace

bool MonitorRunningServer(Program& program, const MonitorOptions& options) {
  const auto source = FindServer(program);
  if (!source) return false;
  LineWriter writer([&program](std::string_view bytes) { program.Output().Write(bytes); });
  if (program.Output().IsTerminal())
    ShowTable(program, options, *source, writer);
  else
    PrintReadings(program, options, *source, writer);
  FinishOutput(program, writer, kSuccess);
  return true;
}

}  // namespace tarn::tool
