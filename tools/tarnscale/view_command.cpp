// view: the live table, fed with events by other programs.
#include <chrono>
#include <string>
#include <string_view>

#include "platform/line_writer.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/event_table.hpp"
#include "tools/tarnscale/line_reader.hpp"
#include "tools/tarnscale/live_output.hpp"
#include "tools/tarnscale/live_screen.hpp"

namespace tarn::tool {

int ViewCommand(Program& program, const ViewOptions& options) {
  if (!program.Output().IsTerminal()) throw Failure("view needs a terminal to draw on");
  const std::string& name = program.Options().file;
  ScaleFile file(program.Host(), name);
  file.Load();
  MessageLoop& loop = program.Host().Loop();
  EventTable table(loop, EventTable::RowsOf(file),
                   options.title.empty() ? "tarnscale " + name : options.title,
                   std::chrono::system_clock::now);
  if (table.RowCount() == 0) throw Failure("no scale of '" + Printable(name) + "' is set up");

  bool readable = true;
  const LineReader reader(loop, options.events,
                          {.onLine = [&table](std::string_view line) { table.HandleLine(line); },
                           .onEnd =
                               [&loop, &readable](bool opened) {
                                 readable = opened;
                                 loop.Quit();
                               }});
  LineWriter writer([&program](std::string_view bytes) { program.Output().Write(bytes); });
  {
    const LiveScreen screen(program, table, writer, options.interval);
    RunLoop(program, options.seconds);
  }
  if (!readable) program.Complain("cannot read events from '" + Printable(options.events) + "'");
  const int status = readable ? kSuccess : kFailed;
  FinishOutput(program, writer, status);
  program.EndNow(program.Finish(status));  // the reader's thread may still wait for input
}

}  // namespace tarn::tool
