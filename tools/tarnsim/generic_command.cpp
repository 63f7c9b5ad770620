#include <memory>
#include <string>
#include <utility>

#include "tools/tarnsim/commands.hpp"
#include "tools/tarnsim/fixed_terminal.hpp"
#include "tools/tarnsim/terminal_run.hpp"

namespace tarn::sim {
namespace {

constexpr const char* kGenericFooter =
    R"(

The scale takes no commands from the line, but for wi120, which sends one frame for each ENQ; the
others send without being asked.

Examples:
  tarnsim generic --port /tmp/scale1 --type fairbanks
  tarnsim generic --port /tmp/scale1 --type wi120 --load "load 12.5; wait 3s; load 0; wait 2s; repeat")";

struct GenericOptions {
  CommonOptions common;
  std::string type;
  std::string rate = "10";
};

void Run(const GenericOptions& options) {
  const FixedLayout layout = FixedLayoutOf(options.type);
  const double framePeriod = FramePeriod(options.rate);
  TerminalRun run(options.common);
  run.Run([&](TerminalParts parts) {
    return std::make_unique<FixedTerminal>(
        FixedTerminal::Options{.frame = {.layout = layout,
                                         .units = run.Setup().units,
                                         .graduation = run.Setup().graduation},
                               .framePeriod = framePeriod,
                               .firstFrame = framePeriod * parts.phase},
        std::move(parts.indicator), std::move(parts.line));
  });
}

}  // namespace

void AddGenericCommand(CommandLine& line) {
  const auto options = std::make_shared<GenericOptions>();
  Command& command = line.Add("generic", "Scales of other makers with frames of a fixed layout");
  command.Footer(std::string(kLoadScriptHelp) + kGenericFooter);
  command.Group("Fixed layouts");
  command
      .Add("--type", options->type,
           "cardinal, fairbanks, gse550, ricelake or wi120, as tarnscale's key type")
      .Required();
  command.Add("--rate", options->rate, "Frames per second, or max for as many as the line carries")
      .ShowDefault();
  AddCommonOptions(command, options->common);
  command.OnRun([options] {
    Run(*options);
    return tool::kSuccess;
  });
}

}  // namespace tarn::sim
