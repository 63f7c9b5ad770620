#include <memory>
#include <string>
#include <utility>

#include "tools/tarnsim/commands.hpp"
#include "tools/tarnsim/continuous_terminal.hpp"
#include "tools/tarnsim/terminal_run.hpp"

namespace tarn::sim {
namespace {

constexpr const char* kContinuousFooter =
    R"(

On the line the terminal takes C (clear tare), T (tare), Z (zero), P (print) and a preset tare like
12.5T. Started from a keyboard it takes the keys c, t, z, p for all its terminals and q to end.

Examples:
  tarnsim continuous --port /tmp/scale1
  tarnsim continuous --port /tmp/scale%d --count 32 --line 115200,n,8,1 --rate max
  tarnsim continuous --port /tmp/scale1 --load "load 12.5; wait 3s; load 0; ramp 0 100 5s; repeat"
  tarnsim continuous --port /tmp/scale1 --pace char --drop 0.001 --vanish 30s/5s)";

struct ContinuousOptions {
  CommonOptions common;
  std::string layout = "standard";
  std::string rate = "10";
  bool checksum = true;
  double printEvery = 0;  ///< seconds
  int printFrames = 1;
};

void Run(const ContinuousOptions& options) {
  const double framePeriod = FramePeriod(options.rate);
  TerminalRun run(options.common);
  run.Run([&](TerminalParts parts) {
    ContinuousTerminal::Options terminal;
    terminal.layout = {.standard = options.layout == "standard",
                       .checksum = options.checksum,
                       .units = run.Setup().units,
                       .graduation = run.Setup().graduation};
    terminal.framePeriod = framePeriod;
    terminal.firstFrame = framePeriod * parts.phase;
    terminal.printEvery = options.printEvery * 1000;
    terminal.printFrames = options.printFrames;
    return std::make_unique<ContinuousTerminal>(terminal, std::move(parts.indicator),
                                                std::move(parts.line));
  });
}

}  // namespace

void AddContinuousCommand(CommandLine& line) {
  const auto options = std::make_shared<ContinuousOptions>();
  Command& command = line.Add(
      "continuous", "Terminals that send their weight without being asked, frame after frame");
  command.Footer(std::string(kLoadScriptHelp) + kContinuousFooter);
  command.Group("Continuous output");
  command.Add("--layout", options->layout, "Frame layout: the short one goes without tare")
      .OneOf({"standard", "short"})
      .ShowDefault();
  command
      .Add("--rate", options->rate,
           "Frames per second, or max for as many as the line carries. Frames that come due "
           "while the line still sends are left out")
      .ShowDefault();
  command.Flag("--checksum,!--no-checksum", options->checksum,
               "With a checksum character behind the frame (so unless --no-checksum)");
  command.Add("--print-every", options->printEvery, "Presses the print key every so many seconds")
      .Range(0.0, 1e6);
  command
      .Add("--print-frames", options->printFrames,
           "Frames that carry the print request of one print")
      .Range(1, 1000)
      .ShowDefault();
  AddCommonOptions(command, options->common);
  command.OnRun([options] {
    Run(*options);
    return tool::kSuccess;
  });
}

}  // namespace tarn::sim
