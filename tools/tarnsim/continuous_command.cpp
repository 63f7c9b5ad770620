#include "tools/tarnsim/continuous_command.hpp"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <utility>

#include "tools/tarnsim/continuous_terminal.hpp"
#include "tools/tarnsim/terminal_run.hpp"

namespace tarn::sim {
namespace {

constexpr const char* kFooter =
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

void AddContinuousCommand(CLI::App& app) {
  const auto options = std::make_shared<ContinuousOptions>();
  CLI::App* command = app.add_subcommand(
      "continuous", "Terminals that send their weight without being asked, frame after frame");
  command->footer(std::string(kLoadScriptHelp) + kFooter);
  const std::string group = "Continuous output";
  command->add_option("--layout", options->layout, "Frame layout: the short one goes without tare")
      ->check(CLI::IsMember({"standard", "short"}))
      ->capture_default_str()
      ->group(group);
  command
      ->add_option(
          "--rate", options->rate,
          "Frames per second, or max for as many as the line carries. Frames that come due "
          "while the line still sends are left out")
      ->capture_default_str()
      ->group(group);
  command
      ->add_flag("--checksum,!--no-checksum", options->checksum,
                 "With a checksum character behind the frame (so unless --no-checksum)")
      ->group(group);
  command
      ->add_option("--print-every", options->printEvery,
                   "Presses the print key every so many seconds")
      ->check(CLI::Range(0.0, 1e6))
      ->group(group);
  command
      ->add_option("--print-frames", options->printFrames,
                   "Frames that carry the print request of one print")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str()
      ->group(group);
  AddCommonOptions(*command, options->common);
  command->callback([options] { Run(*options); });
}

}  // namespace tarn::sim
