#include <memory>
#include <string>
#include <utility>

#include "tools/tarnsim/commands.hpp"
#include "tools/tarnsim/mira_terminal.hpp"
#include "tools/tarnsim/terminal_run.hpp"

namespace tarn::sim {
namespace {

constexpr const char* kMiraFooter =
    R"(

On the line the scale takes SI (weight), SIR (weight, repeatedly), Z (zero), T (tare), TA 12.5 kg
(preset tare) and @ (clear tare), each with CR LF. It answers with a status: S stable, D in motion,
+ over and - under range, A done, I busy; ES, EL and ET are errors.

Examples:
  tarnsim mira --port /tmp/scale1
  tarnsim mira --port /tmp/scale1 --decimal comma --units g --capacity 4000 --division 0.1
  tarnsim mira --port /tmp/scale1 --busy 0.2 --errors 0.05 --load "load 12.5; wait 3s; load 0; wait 2s; repeat")";

struct MiraOptions {
  CommonOptions common;
  std::string rate = "10";
  std::string decimal = "point";
  double busy = 0;
  double errors = 0;
};

void Run(const MiraOptions& options) {
  const double repeatPeriod = FramePeriod(options.rate);
  TerminalRun run(options.common);
  run.Run([&](TerminalParts parts) {
    return std::make_unique<MiraTerminal>(
        MiraTerminal::Options{.units = run.Setup().units,
                              .graduation = run.Setup().graduation,
                              .decimalPoint = options.decimal == "comma" ? ',' : '.',
                              .repeatPeriod = repeatPeriod,
                              .busy = options.busy,
                              .errors = options.errors,
                              .seed = parts.seed},
        std::move(parts.indicator), std::move(parts.line));
  });
}

}  // namespace

void AddMiraCommand(CommandLine& line) {
  const auto options = std::make_shared<MiraOptions>();
  Command& command = line.Add("mira", "Scales that answer short lines of commands");
  command.Footer(std::string(kLoadScriptHelp) + kMiraFooter);
  command.Group("Commands and replies");
  command
      .Add("--rate", options->rate,
           "Weights per second after SIR, or max for as many as the line carries")
      .ShowDefault();
  command.Add("--decimal", options->decimal, "Decimal point of the replies")
      .OneOf({"point", "comma"})
      .ShowDefault();
  command.Add("--busy", options->busy, "Chance of each command to find the scale busy")
      .Range(0.0, 1.0);
  command.Add("--errors", options->errors, "Chance of each command to be answered ET")
      .Range(0.0, 1.0);
  AddCommonOptions(command, options->common);
  command.OnRun([options] {
    Run(*options);
    return tool::kSuccess;
  });
}

}  // namespace tarn::sim
