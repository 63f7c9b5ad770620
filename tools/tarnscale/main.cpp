// tarnscale: the scale server in a console, and the tool to set it up. Exit status 0 is success, 1
// a failure, 2 a wrong command line.
#include <optional>
#include <string>

#include "tools/arguments.hpp"
#include "tools/tarnscale/class_names.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/scale_commands.hpp"
#include "tools/tarnscale/scale_keys.hpp"

namespace {

using namespace tarn::tool;

/// The values of the command line.
struct Options {
  CommonOptions common;
  RunOptions run;
  MonitorOptions monitor;
  ViewOptions view;
  ShowOptions show;
  SetOptions set;
  SendOptions send;
  PortsOptions ports;
  ScanOptions scan;
  ReplayCommandOptions replay;
};

/// Adds a command that has the options `own` and calls `run`. `file` says what its file is; null
/// for a command without one.
template <class Own>
Command& AddCommand(CommandLine& line, Options& options, const char* name, const char* description,
                    Own Options::*own, int (*run)(Program&, const Own&),
                    const char* file = "The settings file") {
  Command& command = line.Add(name, description);
  CommonOptions& common = options.common;
  if (file != nullptr) command.Add("FILE", common.file, file).Required();
  command.Group("Options of all commands");
  command
      .Add("--port", common.ports,
           "The device of serial port N, such as 3=/dev/ttyUSB0; may be repeated. "
           "The store keeps such lines in its section Ports")
      .OneValueEach()
      .Value("N=DEVICE");
  command
      .Add("--store", common.store,
           "Another settings store: a file, on Windows a key; 'server' for the one of the "
           "Automation server")
      .Value("PLACE");
  command.Add("--log", common.log, "Appends a line to this file for every print record")
      .Value("FILE");
  command
      .Add("--terminal-network", common.terminalNetwork,
           "The client library of the terminals' own network (connection=arcnet), with its "
           "path; libkesapi.so or kesapi32.dll of the system when not given")
      .Value("LIBRARY");
  command.Flag("-q,--quiet", common.quiet, "Only errors on standard error");
  command.Group("Options");
  command.OnRun([&options, own, run] {
    Program program(options.common);
    return run(program, options.*own);
  });
  return command;
}

void AddSeconds(Command& command, std::optional<double>& seconds) {
  command.Add("--for", seconds, "Ends after this many seconds").Range(0.001, 2e6).Value("SECONDS");
}

void AddCapture(Command& command, std::string& folder) {
  command
      .Add("--capture", folder,
           "Writes what each line brings and takes into this folder, a file a scale, for replay; "
           "the files grow until it ends")
      .Value("FOLDER");
}

void AddDrawing(Command& command, int& interval) {
  command.Add("--interval", interval, "Milliseconds between two drawings")
      .Range(20, 60000)
      .ShowDefault()
      .Value("MS");
}

void AddScale(Command& command, int& scale) {
  command.Add("SCALE", scale, "The number of the scale, 1 to 32")
      .Required()
      .Range(1, int{tarn::kScaleCount});
}

void AddRun(CommandLine& line, Options& options) {
  Command& command = AddCommand(line, options, "run",
                                "Runs all enabled scales and prints what happens, a line each",
                                &Options::run, RunCommand);
  command.Flag("--json", options.run.json, "One JSON object a line, with times in UTC");
  command.Flag("--readings-only", options.run.readingsOnly,
               "Prints new weights, records and variables, and nothing else");
  command.Flag("--updates", options.run.updates,
               "Prints the paced updates too, for scales that have a rate");
  AddSeconds(command, options.run.seconds);
  AddCapture(command, options.run.capture);
  command.Footer(
      "Events in JSON: NewWeight, StatusChange, PrintRecord, NewStatus (the lamps), UpdateWeight,\n"
      "NewDataReady and TimeoutError (records of fields), Variables and CommLossError (variables "
      "of\n"
      "a terminal), ScaleConfigurationChange, InfoMessage, StartFailure, Lost.\n"
      "A scale that does not start is reported on standard error, and the others run. Ctrl-C ends\n"
      "it, and so does the end of the program that reads the output. A reader that is too slow\n"
      "loses readings when 1 MiB waits for it, and other events when 8 MiB wait; a line 'lost'\n"
      "then says how many.\n\n"
      "Example:\n"
      "  tarnscale run plant.scl --json --port 1=/dev/ttyUSB0 | your-program");
}

void AddMonitor(CommandLine& line, Options& options) {
  Command& command = AddCommand(line, options, "monitor",
                                "Shows the scales live and gives commands to the selected one",
                                &Options::monitor, MonitorCommand);
  command.Flag("--all", options.monitor.all, "All 32 scales, not only the configured ones");
  AddDrawing(command, options.monitor.interval);
  AddSeconds(command, options.monitor.seconds);
  AddCapture(command, options.monitor.capture);
  std::string keys = "Keys: Up/Down or k/j select a scale";
  for (const ScaleCommand& c : ScaleCommands())
    keys += std::string("\n  ") + c.key + "  " + std::string(c.help);
  command.Footer(keys +
                 "\n  e  enable and start, or start again\n  d  disable\n"
                 "  w  write what the lines had lately, for replay\n  q  quit\n"
                 "Where the output is no terminal it prints the readings, a line each.\n\n"
                 "Example:\n"
                 "  tarnscale monitor plant.scl --port 1=/dev/ttyUSB0");
}

void AddView(CommandLine& line, Options& options) {
  Command& command = AddCommand(line, options, "view",
                                "Shows events of other programs live, in the table of monitor",
                                &Options::view, ViewCommand);
  command
      .Add("--events", options.view.events,
           "Where the events come from: a file or a named pipe; standard input when not given")
      .Value("FILE");
  command.Add("--title", options.view.title, "The first line; the settings file when not given")
      .Value("TEXT");
  AddDrawing(command, options.view.interval);
  AddSeconds(command, options.view.seconds);
  command.Footer(
      "Each line is an event as 'run --json' prints it; any other line joins the list of events "
      "as\n"
      "it stands. The scales and their connections come from the settings file. It ends with its\n"
      "input. Keys: Up/Down or k/j select a row, q quits; while the events come from standard\n"
      "input there is only Ctrl-C.\n\n"
      "Example:\n"
      "  tarnscale run plant.scl --json | tarnscale view plant.scl");
}

void AddShow(CommandLine& line, Options& options) {
  Command& command =
      AddCommand(line, options, "show", "Shows the settings of the configured scales",
                 &Options::show, ShowCommand);
  command.Flag("--json", options.show.json, "As one JSON object");
  command.Flag("--all", options.show.all, "All 32 scales, not only the configured ones");
  command.Footer("Example:\n  tarnscale show plant.scl");
}

void AddSet(CommandLine& line, Options& options) {
  Command& command = AddCommand(line, options, "set",
                                "Changes the settings of a scale; makes the file when it is new",
                                &Options::set, SetCommand);
  AddScale(command, options.set.scale);
  command.Add("KEY=VALUE", options.set.pairs, "The settings, applied in this order").Required();
  command.Footer(
      "Nothing is written unless all of them are right. Choose the connection and the\n"
      "protocol before their own settings. A server that runs already does not notice.\n\n"
      "Keys:\n" +
      KeyHelp() +
      "\nExample:\n"
      "  tarnscale set plant.scl 1 alias=\"Line 1\" connection=serial port=1 baud=9600 \\\n"
      "      bidirectional=yes protocol=continuous type=standard enabled=yes");
}

void AddSend(CommandLine& line, Options& options) {
  Command& command =
      AddCommand(line, options, "send", "Runs one scale for a moment and gives it a command",
                 &Options::send, SendCommand);
  AddScale(command, options.send.scale);
  command.Add("COMMAND", options.send.command, "See below; capitals do not matter").Required();
  command.Add("VALUE", options.send.value, "The weight of SetTare");
  command.Add("--wait", options.send.wait, "How long to wait for a print record")
      .Range(0.1, 3600.0)
      .ShowDefault()
      .Value("SECONDS");
  std::string commands;
  for (const ScaleCommand& c : ScaleCommands()) {
    std::string name(c.name);
    name.resize(12, ' ');
    commands += "  " + name + std::string(c.help) + "\n";
  }
  command.Footer("Commands:\n" + commands +
                 "The port must be free: no server may run the scale at the same time.\n\n"
                 "Example:\n"
                 "  tarnscale send plant.scl 1 SetTare 12.5");
}

void AddReplay(CommandLine& line, Options& options) {
  Command& command = AddCommand(
      line, options, "replay", "Feeds a captured line through its protocol and prints what happens",
      &Options::replay, ReplayCommand, "The capture, as run --capture writes it");
  command.Add("KEY=VALUE", options.replay.settings,
              "Settings in place of the captured ones, as those of set");
  command.Add("--cut", options.replay.cut, "Serial lines and TCP bring pieces of N bytes")
      .Range(1, 65536)
      .Value("N");
  command
      .Flag("--every-cut", options.replay.everyCut,
            "Replays once for each place at which a piece can be cut, and says whether the events "
            "stay the same")
      .Without("--cut");
  command.Flag("--fast", options.replay.fast, "Does not wait between the pieces");
  command.Flag("--json", options.replay.json,
               "One JSON object a line; its times begin with the capture");
  command.Footer(
      "No line is opened and nothing is sent. The status is 1 where a cut changes the events.\n\n"
      "Example:\n"
      "  tarnscale replay scale01-20260601T123456.capture type=short --fast");
}

void AddPorts(CommandLine& line, Options& options) {
  Command& command = AddCommand(line, options, "ports", "Lists the serial ports of this machine",
                                &Options::ports, PortsCommand, nullptr);
  command.Footer(
      "Each has its device, what its adapter calls itself, and who has it open where the system "
      "tells;\n"
      "the line below is the option that other commands take, by a name that stays when adapters\n"
      "change places. N is the number of the port in the settings of the scale.");
}

void AddScan(CommandLine& line, Options& options) {
  Command& command =
      AddCommand(line, options, "scan", "Listens at a serial port and says how to set up its scale",
                 &Options::scan, ScanCommand, nullptr);
  command.Add("PORT", options.scan.port, "A port number such as 3, or a device").Required();
  command.Footer(
      "It tries the usual speeds, hears the parity in the bytes, and looks for the frames of each\n"
      "dialect; it sends nothing. A terminal that sends by itself is found within 9 seconds. The "
      "status\n"
      "is 1 where nothing is found. Stop bits cannot be heard.\n\n"
      "Example:\n"
      "  tarnscale scan /dev/ttyUSB0");
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CommandLine line("tarnscale", "The scale server in a console, and the tool to set it up");
  AddRun(line, options);
  AddMonitor(line, options);
  AddView(line, options);
  AddShow(line, options);
  AddSet(line, options);
  AddSend(line, options);
  AddReplay(line, options);
  AddPorts(line, options);
  AddScan(line, options);
  return line.Main(argc, argv);
}
