// tarnscale: the scale server in a console, and the tool to set it up. Ends with 0, with 1 after a
// failure, with 2 where the command line is wrong.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <functional>
#include <iostream>
#include <string>

#include "platform/program.hpp"
#include "tools/tarnscale/class_names.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/scale_commands.hpp"
#include "tools/tarnscale/scale_keys.hpp"

namespace {

using namespace tarn::tool;

/// Everything that stands on the command line, and the command that it asks for.
struct CommandLine {
  CommonOptions common;
  RunOptions run;
  MonitorOptions monitor;
  ShowOptions show;
  SetOptions set;
  SendOptions send;
  std::function<int(Program&)> command;
};

CLI::App& AddCommand(CLI::App& app, CommandLine& line, const char* name, const char* description,
                     int (*run)(Program&, const CommandLine&)) {
  CLI::App& command = *app.add_subcommand(name, description);
  command.add_option("FILE", line.common.file, "The settings file")->required();
  const std::string group = "Options of all commands";
  command
      .add_option("--port", line.common.ports,
                  "The device of serial port N, such as 3=/dev/ttyUSB0; may be repeated. "
                  "The store keeps such lines in its section Ports")
      ->allow_extra_args(false)
      ->type_name("N=DEVICE")
      ->group(group);
  command
      .add_option("--store", line.common.store,
                  "Another settings store: a file, on Windows a key; 'server' for the one of the "
                  "Automation server")
      ->type_name("PLACE")
      ->group(group);
  command
      .add_option("--log", line.common.log, "Appends a line to this file for every print record")
      ->type_name("FILE")
      ->group(group);
  command
      .add_option("--terminal-network", line.common.terminalNetwork,
                  "The client library of the terminals' own network (connection=arcnet), with its "
                  "path; libkesapi.so or kesapi32.dll of the system when not given")
      ->type_name("LIBRARY")
      ->group(group);
  command.add_flag("-q,--quiet", line.common.quiet, "Only errors on standard error")->group(group);
  command.callback([&line, run] {
    line.command = [&line, run](Program& program) { return run(program, line); };
  });
  return command;
}

void AddSeconds(CLI::App& command, std::optional<double>& seconds) {
  command.add_option("--for", seconds, "Ends after this many seconds")
      ->check(CLI::Range(0.001, 2e6))
      ->type_name("SECONDS");
}

void AddScale(CLI::App& command, int& scale) {
  command.add_option("SCALE", scale, "The number of the scale, 1 to 32")
      ->required()
      ->check(CLI::Range(1, int{tarn::kScaleCount}));
}

void AddRun(CLI::App& app, CommandLine& line) {
  CLI::App& command =
      AddCommand(app, line, "run", "Runs all enabled scales and prints what happens, a line each",
                 [](Program& program, const CommandLine& l) { return RunCommand(program, l.run); });
  command.add_flag("--json", line.run.json, "One JSON object a line, with times in UTC");
  command.add_flag("--readings-only", line.run.readingsOnly,
                   "Prints new weights, records and variables, and nothing else");
  command.add_flag("--updates", line.run.updates,
                   "Prints the paced updates too, for scales that have a rate");
  AddSeconds(command, line.run.seconds);
  command.footer(
      "Events in JSON: NewWeight, StatusChange, PrintRecord, NewStatus (the lamps), UpdateWeight,\n"
      "NewDataReady and TimeoutError (records of fields), Variables and CommLossError (variables "
      "of\n"
      "a terminal), ScaleConfigurationChange, InfoMessage, StartFailure, Lost.\n"
      "A scale that does not start is reported on standard error, and the others run. Ctrl-C ends\n"
      "it, and so does the end of whoever reads the output. A reader that is too slow loses\n"
      "readings once 1 MiB waits for it, other events once 8 MiB wait; a line 'lost' then says\n"
      "how many.\n\n"
      "Example:\n"
      "  tarnscale run plant.scl --json --port 1=/dev/ttyUSB0 | your-program");
}

void AddMonitor(CLI::App& app, CommandLine& line) {
  CLI::App& command = AddCommand(
      app, line, "monitor", "Shows the scales live and gives commands to the selected one",
      [](Program& program, const CommandLine& l) { return MonitorCommand(program, l.monitor); });
  command.add_flag("--all", line.monitor.all, "All 32 scales, not only the configured ones");
  command.add_option("--interval", line.monitor.interval, "Milliseconds between two drawings")
      ->check(CLI::Range(20, 60000))
      ->capture_default_str()
      ->type_name("MS");
  AddSeconds(command, line.monitor.seconds);
  std::string keys = "Keys: Up/Down or k/j select a scale";
  for (const ScaleCommand& c : ScaleCommands())
    keys += std::string("\n  ") + c.key + "  " + std::string(c.help);
  command.footer(keys +
                 "\n  e  enable and start, or start again\n  d  disable\n  q  quit\n"
                 "Where the output is no terminal it prints the readings, a line each.\n\n"
                 "Example:\n"
                 "  tarnscale monitor plant.scl --port 1=/dev/ttyUSB0");
}

void AddShow(CLI::App& app, CommandLine& line) {
  CLI::App& command = AddCommand(
      app, line, "show", "Shows the settings of the configured scales",
      [](Program& program, const CommandLine& l) { return ShowCommand(program, l.show); });
  command.add_flag("--json", line.show.json, "As one JSON object");
  command.add_flag("--all", line.show.all, "All 32 scales, not only the configured ones");
  command.footer("Example:\n  tarnscale show plant.scl");
}

void AddSet(CLI::App& app, CommandLine& line) {
  CLI::App& command =
      AddCommand(app, line, "set", "Changes the settings of a scale; makes the file when it is new",
                 [](Program& program, const CommandLine& l) { return SetCommand(program, l.set); });
  AddScale(command, line.set.scale);
  command.add_option("KEY=VALUE", line.set.pairs, "The settings, applied in this order")
      ->required();
  command.footer(
      "Nothing is written unless all of them are right. Choose the connection and the\n"
      "protocol before their own settings. A server that runs already does not notice.\n\n"
      "Keys:\n" +
      KeyHelp() +
      "\nExample:\n"
      "  tarnscale set plant.scl 1 alias=\"Line 1\" connection=serial port=1 baud=9600 \\\n"
      "      bidirectional=yes protocol=continuous type=standard enabled=yes");
}

void AddSend(CLI::App& app, CommandLine& line) {
  CLI::App& command = AddCommand(
      app, line, "send", "Runs one scale for a moment and gives it a command",
      [](Program& program, const CommandLine& l) { return SendCommand(program, l.send); });
  AddScale(command, line.send.scale);
  command.add_option("COMMAND", line.send.command, "See below; capitals do not matter")->required();
  command.add_option("VALUE", line.send.value, "The weight of SetTare");
  command.add_option("--wait", line.send.wait, "How long to wait for a print record")
      ->check(CLI::Range(0.1, 3600.0))
      ->capture_default_str()
      ->type_name("SECONDS");
  std::string commands;
  for (const ScaleCommand& c : ScaleCommands()) {
    std::string name(c.name);
    name.resize(12, ' ');
    commands += "  " + name + std::string(c.help) + "\n";
  }
  command.footer("Commands:\n" + commands +
                 "The port must be free: no server may run the scale at the same time.\n\n"
                 "Example:\n"
                 "  tarnscale send plant.scl 1 SetTare 12.5");
}

int Fail(const std::exception& error, int status) {
  std::cerr << "tarnscale: " << error.what() << '\n';
  return status;
}

/// The help where it was asked for; what is wrong otherwise.
int Explain(const CLI::App& app, const CLI::ParseError& error) {
  if (error.get_exit_code() == 0) return app.exit(error);
  const auto commands = app.get_subcommands();
  if (commands.empty()) {
    std::cerr << "tarnscale: which command? run, monitor, show, set or send\n"
                 "Help: tarnscale --help\n";
  } else {
    std::cerr << "tarnscale: " << error.what() << "\nHelp: tarnscale "
              << commands.front()->get_name() << " --help\n";
  }
  return kWrongUse;
}

int Run(std::vector<std::string> arguments) {
  CommandLine line;
  CLI::App app("The scale server in a console, and the tool to set it up", "tarnscale");
  app.require_subcommand(1);
  app.allow_windows_style_options(false);
  app.footer("Each command has its own help: tarnscale run --help");
  AddRun(app, line);
  AddMonitor(app, line);
  AddShow(app, line);
  AddSet(app, line);
  AddSend(app, line);
  std::reverse(arguments.begin(), arguments.end());  // the parser takes them from the end
  try {
    app.parse(arguments);
  } catch (const CLI::ParseError& error) {
    return Explain(app, error);
  }
  Program program(line.common);
  return line.command(program);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(tarn::ProgramArguments(argc, argv));
  } catch (const UsageError& error) {
    return Fail(error, kWrongUse);
  } catch (const std::exception& error) {
    return Fail(error, kFailed);
  }
}
