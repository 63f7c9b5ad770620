// tarnscale: the scale server in a console, and the tool to set it up. kStatuses has its exit
// statuses.
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "outlets/scale_commands.hpp"
#include "tools/arguments.hpp"
#include "tools/tarnscale/class_names.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/journal_commands.hpp"
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
  DeleteOptions remove;
  CopyOptions copy;
  CopyOptions move{.scale = {}, .other = {}, .move = true};
  CheckOptions check;
  bool net = false;  ///< what read prints anyway
  ReadOptions read;
  SendOptions send;
  PortsOptions ports;
  ScanOptions scan;
  ReplayCommandOptions replay;
  RecordsOptions records;
};

constexpr const char* kStatuses =
    "Exit status: 0 done and seen, 1 failed, 2 wrong command line, 3 nothing came in time, 4 the\n"
    "scale cannot take the command, 5 the terminal answers, but has no valid weight.\n";

constexpr const char* kAttaches =
    "Where a tarnscale runs the file on this machine, that one is asked; else the port must be "
    "free.\n";

template <class Own>
int Run(Options& options, Own Options::*own, int (*run)(Program&, const Own&)) {
  Program program(options.common);
  try {
    return program.Finish(run(program, options.*own));
  } catch (const Failure& failure) {
    program.Complain(failure.what());
    return failure.Status();
  }
}

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
           "Another settings store, which is only read: a file, on Windows a key; 'server' for "
           "the one of the Automation server")
      .Value("PLACE");
  command
      .Add("--log", common.log,
           "Appends a line to this file for every print record, and has the disk store each at "
           "once")
      .Value("FILE");
  command
      .Add("--terminal-network", common.terminalNetwork,
           "The client library of the terminals' own network (connection=arcnet), with its "
           "path; libkesapi.so or kesapi32.dll of the system when not given")
      .Value("LIBRARY");
  command.Flag("-q,--quiet", common.quiet, "Only errors on standard error");
  command.Group("Options");
  command.OnRun([&options, own, run] { return Run(options, own, run); });
  return command;
}

/// For a command that a tarnscale which runs already can serve: its URL takes the place of the
/// file, so the words that the user typed are one place further on then.
template <class Own>
void AddAttach(Command& command, Options& options, Own Options::*own,
               int (*run)(Program&, const Own&), std::vector<std::string Own::*> words) {
  command.Known("FILE").Required(false);
  command
      .Add(
          "--at", options.common.at,
          "In place of FILE: uses the tarnscale that runs there, such as http://10.0.0.7:8080, and "
          "opens no port")
      .Value("URL");
  command
      .Add("--token-file", options.common.tokenFile, "The file of the token that it wants to see")
      .Value("FILE");
  command.Flag("--alone", options.common.alone,
               "Looks for no tarnscale that runs this file already, and opens the ports itself");
  command.OnRun([&options, own, run, words = std::move(words)] {
    CommonOptions& common = options.common;
    if (common.at.empty() && common.file.empty())
      throw UsageError("FILE is missing: the settings file");
    if (!common.at.empty()) {
      std::string word = std::exchange(common.file, {});
      for (const auto member : words) word = std::exchange(options.*own.*member, std::move(word));
      if (!word.empty())
        throw UsageError("'" + word + "' is one word too many: --at takes the place of FILE");
    }
    return Run(options, own, run);
  });
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

void AddMqtt(Command& command, tarn::MqttOptions& mqtt) {
  const auto add = [&command](const char* name, auto& value, const char* help) {
    return command.Add(name, value, help);
  };
  command.Group("Options of MQTT");
  add("--mqtt", mqtt.url, "Publishes weights and weighings at this broker; mqtts:// for TLS")
      .Value("mqtt://[USER@]HOST[:PORT]");
  add("--mqtt-root", mqtt.root, "The topic above all others; scales/ and the name of this machine")
      .Value("TOPIC");
  add("--mqtt-id", mqtt.clientId, "The client id; tarnscale- and the name of this machine")
      .Value("ID");
  add("--mqtt-user", mqtt.user, "The user").Value("NAME");
  add("--mqtt-password-file", mqtt.passwordFile,
      "The file whose first line is the password; other users must not be able to read it")
      .Value("FILE");
  add("--mqtt-ca", mqtt.ca, "The certificates that may sign the broker's; those of the system")
      .Value("FILE");
  add("--mqtt-cert", mqtt.certificate, "The certificate of this client").Value("FILE");
  add("--mqtt-key", mqtt.key, "Its key, without a password").Value("FILE");
  add("--mqtt-keep-alive", mqtt.keepAlive, "The broker counts as gone after this silence")
      .Range(5, 65535)
      .ShowDefault()
      .Value("SECONDS");
  add("--mqtt-rate", mqtt.rate, "Weights of a scale a second at most; one at rest comes at once")
      .Range(0.001, 1000.0)
      .ShowDefault()
      .Value("N");
  add("--mqtt-settle", mqtt.settle,
      "A weighing that the broker has acknowledged is published again if the connection breaks "
      "within this time: the broker may have lost it")
      .Range(0.0, 3600.0)
      .ShowDefault()
      .Value("SECONDS");
  add("--mqtt-commands", mqtt.commands, "These scales take commands over MQTT; none do otherwise")
      .Value("N,...|all");
  command.Flag("--home-assistant", mqtt.homeAssistant,
               "Publishes what Home Assistant needs to find the scales");
}

/// What run and monitor publish.
void AddOutlets(Command& command, OutletOptions& outlets) {
  command.Group("Options for the browser and other programs");
  command
      .Add("--http", outlets.http,
           "Serves a page and the readings as JSON here, such as 127.0.0.1:8080; port 0 takes a "
           "free "
           "one. Beyond this machine only for those who have the token")
      .Value("ADDRESS:PORT");
  command
      .Add("--http-token-file", outlets.httpTokenFile,
           "The file of the token that readers must show; it is made if it is missing")
      .Value("FILE");
  command
      .Add("--http-commands", outlets.httpCommands,
           "The scales that take commands, such as 1,4, or all; none when not given")
      .OneValueEach()
      .Value("N,...");
  command
      .Add("--http-host", outlets.httpHosts,
           "Another name by which readers know this machine; may be repeated")
      .OneValueEach()
      .Value("NAME");
  command
      .Add("--http-allow-origin", outlets.httpOrigins,
           "Pages of this origin may use the interface, such as https://board.example; may be "
           "repeated")
      .OneValueEach()
      .Value("ORIGIN");
  command
      .Add("--audit", outlets.audit,
           "Appends a line to this file for every command that comes in; to the trace when not "
           "given")
      .Value("FILE");
  command
      .Add("--journal", outlets.journal,
           "Keeps every weighing (print records and records of fields) in this folder: numbered, "
           "stored on the disk, a file a day; see records")
      .Value("FOLDER");
  command
      .Add("--journal-days", outlets.journalDays,
           "Removes the oldest files of the journal beyond so many, unless a receiver still needs "
           "them; none when not given")
      .Range(1, 100'000)
      .Value("N");
  command
      .Add("--health-grace", outlets.healthGrace,
           "A scale may be at fault for so long before /health says so")
      .Range(0, 86400)
      .ShowDefault()
      .Value("SECONDS");
  AddMqtt(command, outlets.mqtt);
  command.Group("Options");
}

void AddDrawing(Command& command, int& interval) {
  command.Add("--interval", interval, "Milliseconds between two drawings")
      .Range(20, 60000)
      .ShowDefault()
      .Value("MS");
}

Option AddScale(Command& command, std::string& scale) {
  return command.Add("SCALE", scale, "The number of the scale, 1 to 32").Required();
}

void AddRun(CommandLine& line, Options& options) {
  Command& command = AddCommand(line, options, "run",
                                "Runs all enabled scales and prints what happens, a line each",
                                &Options::run, RunCommand);
  command.Flag("--json", options.run.json, "One JSON object a line, with times in UTC");
  command.Flag("--csv", options.run.csv, "Comma-separated values, with times in UTC")
      .Without("--json");
  command.Add("--scale", options.run.scales, "Runs these scales only, such as 1,4")
      .OneValueEach()
      .Value("N,...");
  command.Flag("--readings-only", options.run.readingsOnly,
               "Prints new weights, print records, records of fields and variables, and nothing "
               "else; so do all of the following, and --csv");
  command.Flag("--stable", options.run.stable, "Only valid weights without motion");
  command.Flag("--changes", options.run.changes,
               "Only readings that differ from the one before of that scale");
  command.Add("--every", options.run.every, "At most one reading of each scale in this time")
      .Range(0.0, 1e6)
      .Value("SECONDS");
  command.Add("--count", options.run.count, "Ends after so many lines; status 3 if --for is first")
      .Range(1, 1'000'000'000)
      .Value("N");
  command.Flag("--updates", options.run.updates,
               "Prints the paced updates too, for scales that have a rate");
  AddSeconds(command, options.run.seconds);
  AddCapture(command, options.run.capture);
  AddOutlets(command, options.run.outlets);
  command.Footer(
      "Events in JSON: NewWeight, StatusChange, PrintRecord, NewStatus (the lamps), UpdateWeight,\n"
      "NewDataReady and TimeoutError (records of fields), Variables and CommLossError (variables "
      "of\n"
      "a terminal), ScaleConfigurationChange, InfoMessage, StartFailure, Lost.\n"
      "A scale that does not start is reported on standard error, and the others run; it is tried\n"
      "again after 1, 2, 4, 8, 16 and then every 30 seconds, as is a line that breaks. Ctrl-C "
      "ends\n"
      "it, and so does the end of the program that reads the output. A reader that is too slow\n"
      "loses readings when 1 MiB waits for it, and other events when 8 MiB wait; a line 'lost'\n"
      "then says how many.\n"
      "On SIGHUP it reads the settings file again and opens the file of --log anew. Scales whose\n"
      "settings have changed start anew, the others lose no reading.\n\n"
      "Examples:\n"
      "  tarnscale run plant.scl --json --port 1=/dev/ttyUSB0 | your-program\n"
      "  tarnscale run plant.scl --scale 1,4 --stable --every 60 --csv >> weights.csv");
}

void AddMonitor(CommandLine& line, Options& options) {
  Command& command = AddCommand(line, options, "monitor",
                                "Shows the scales live and gives commands to the selected one",
                                &Options::monitor, MonitorCommand);
  command.Flag("--all", options.monitor.all, "All 32 scales, not only the configured ones");
  AddAttach(command, options, &Options::monitor, MonitorCommand, {});
  AddDrawing(command, options.monitor.interval);
  AddSeconds(command, options.monitor.seconds);
  AddCapture(command, options.monitor.capture);
  AddOutlets(command, options.monitor.outlets);
  std::string keys = "Keys: Up/Down or k/j select a scale";
  for (const tarn::ScaleCommand& c : tarn::ScaleCommands())
    keys += std::string("\n  ") + c.key + "  " + std::string(c.help);
  command.Footer(
      keys +
      "\n  e  enable and start, or start again\n  d  disable\n"
      "  i  the line of the selected scale: condition, counters, last error, latest bytes\n"
      "  [  ]  older and newer lines of the list below the table\n"
      "  w  write what the lines had lately, for replay\n"
      "  ?  help\n  q  quit\n"
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
  command.Add("SCALE", options.show.scale, "One scale only");
  command.Flag("--brief", options.show.brief, "A line for each scale");
  command.Flag("--all", options.show.all, "All 32 scales, not only the configured ones");
  command.Footer(
      "Settings that have no effect with the others are left out, but for --json.\n\n"
      "Examples:\n  tarnscale show plant.scl\n  tarnscale show plant.scl 1\n"
      "  tarnscale show plant.scl --brief");
}

void AddSet(CommandLine& line, Options& options) {
  Command& command = AddCommand(line, options, "set",
                                "Changes the settings of a scale; makes the file when it is new",
                                &Options::set, SetCommand);
  AddScale(command, options.set.scale);
  std::vector<std::string> keys;
  for (const ScaleKey& key : ScaleKeys()) keys.push_back(std::string(key.name) + "=");
  command.Add("KEY=VALUE", options.set.pairs, "The settings, in any order")
      .Required()
      .Suggest(keys);
  command.Footer(
      "Nothing is written unless all of them are right. What cannot work is noted: see check. A\n"
      "server that runs already does not notice; 'tarnscale run' does on SIGHUP.\n\n"
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
  AddScale(command, options.send.scale).Required(false);
  std::vector<std::string> names;
  for (const tarn::ScaleCommand& c : tarn::ScaleCommands()) names.emplace_back(c.name);
  command.Add("COMMAND", options.send.command, "See below; capitals do not matter").Suggest(names);
  command.Add("VALUE", options.send.value, "The weight of SetTare");
  AddAttach(command, options, &Options::send, SendCommand,
            {&SendOptions::scale, &SendOptions::command, &SendOptions::value});
  command.Add("--wait", options.send.wait, "How long to wait for what the terminal answers")
      .Range(0.1, 3600.0)
      .ShowDefault()
      .Value("SECONDS");
  std::string commands;
  for (const tarn::ScaleCommand& c : tarn::ScaleCommands()) {
    std::string name(c.name);
    name.resize(12, ' ');
    commands += "  " + name + std::string(c.help) + "\n";
  }
  command.Footer("Commands:\n" + commands + kAttaches + kStatuses +
                 "\n"
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

void AddDelete(CommandLine& line, Options& options) {
  Command& command = AddCommand(line, options, "delete", "Makes a scale one that nobody has set up",
                                &Options::remove, DeleteCommand);
  AddScale(command, options.remove.scale);
  command.Footer("Example:\n  tarnscale delete plant.scl 2");
}

void AddCopy(CommandLine& line, Options& options, const char* name, const char* description,
             CopyOptions Options::*own) {
  Command& command = AddCommand(line, options, name, description, own, CopyCommand);
  AddScale(command, (options.*own).scale);
  command.Add("TO", (options.*own).other, "The number of the scale that takes the settings")
      .Required();
  command.Footer(std::string("The other scale must not be set up yet.\n\nExample:\n  tarnscale ") +
                 name + " plant.scl 1 2");
}

void AddCheck(CommandLine& line, Options& options) {
  Command& command = AddCommand(line, options, "check", "Names the settings that cannot work",
                                &Options::check, CheckCommand);
  command.Footer(
      "A connection that does not fit its protocol, a type or an address that is missing, ports\n"
      "that two scales use, devices that are not there now. Exit status 1 if there is anything.\n\n"
      "Example:\n  tarnscale check plant.scl");
}

void AddRead(CommandLine& line, Options& options) {
  ReadOptions& read = options.read;
  Command& command =
      AddCommand(line, options, "read", "Runs one scale until it has a weight, and prints it",
                 &Options::read, ReadCommand);
  AddScale(command, read.scale).Required(false);
  AddAttach(command, options, &Options::read, ReadCommand, {&ReadOptions::scale});
  bool& net = options.net;
  command.Flag("--net", net, "The net weight, as when nothing is given");
  command.Flag("--gross", read.gross, "The gross weight").Without("--net");
  command.Flag("--tare", read.tare, "The tare").Without("--net").Without("--gross");
  command.Flag("--stable", read.stable, "Waits for a weight without motion");
  command.Flag("--json", read.json, "The whole reading, as 'run --json' prints it");
  command.Add("--timeout", read.timeout, "How long to wait")
      .Range(0.1, 3600.0)
      .ShowDefault()
      .Value("SECONDS");
  command.Footer(std::string(kAttaches) + kStatuses +
                 "\nExamples:\n  tarnscale read plant.scl 1\n"
                 "  weight=$(tarnscale read plant.scl 1 --stable --gross) || echo no weight");
}

void AddPorts(CommandLine& line, Options& options) {
  Command& command = AddCommand(line, options, "ports", "Lists the serial ports of this machine",
                                &Options::ports, PortsCommand, nullptr);
  command.Footer(
      "Each has its device, what its adapter calls itself, and who has it open where the system "
      "tells;\n"
      "the line below is the option that other commands take, by a name that stays when "
      "adapters\n"
      "change places. N is the number of the port in the settings of the scale.");
}

void AddRecords(CommandLine& line, Options& options) {
  RecordsOptions& records = options.records;
  Command& command =
      AddCommand(line, options, "records", "Lists, exports and verifies a journal of weighings",
                 &Options::records, RecordsCommand, nullptr);
  command.Add("ACTION", records.action, "See below").Required().OneOf({"list", "export", "verify"});
  command.Add("FOLDER", records.folder, "The folder of run --journal").Required();
  command.Flag("--csv", records.csv, "Exports comma-separated values, as when nothing is given");
  command.Flag("--json", records.json, "Exports one JSON object a line").Without("--csv");
  command.Add("--after", records.after, "Lists and exports only numbers above this one")
      .Value("NUMBER");
  command.Footer(
      "list     a line a weighing, with the time of this machine's zone\n"
      "export   the same for programs, with times in UTC\n"
      "verify   checks that each line follows from the one before it, and that no number and no\n"
      "         file is missing; names the first line that is wrong, with status 1\n"
      "All may run while the journal is written.\n\n"
      "Examples:\n"
      "  tarnscale records list journal --after 100\n"
      "  tarnscale records export journal --csv > weighings.csv\n"
      "  tarnscale records verify journal");
}

void AddScan(CommandLine& line, Options& options) {
  Command& command =
      AddCommand(line, options, "scan", "Listens at a serial port and says how to set up its scale",
                 &Options::scan, ScanCommand, nullptr);
  command.Add("PORT", options.scan.port, "A port number such as 3, or a device").Required();
  command.Flag(
      "--ask", options.scan.ask,
      "Where nothing is heard, also sends the questions SI and ENQ, which terminals answer "
      "with their weight, at each speed and parity");
  command.Footer(
      "It tries the usual speeds, hears the parity in the bytes, and looks for the frames of "
      "each\n"
      "dialect; without --ask it sends nothing. A terminal that sends by itself is found within 9\n"
      "seconds, one that has to be asked within 24 more. What is sent looks like noise to other\n"
      "devices, so use --ask only where a scale is. The status is 1 where nothing is found. Stop "
      "bits\n"
      "cannot be heard.\n\n"
      "Examples:\n"
      "  tarnscale scan /dev/ttyUSB0\n"
      "  tarnscale scan /dev/ttyUSB0 --ask");
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
  AddDelete(line, options);
  AddCopy(line, options, "copy", "Copies the settings of a scale to another", &Options::copy);
  AddCopy(line, options, "move", "Moves the settings of a scale to another", &Options::move);
  AddCheck(line, options);
  AddRead(line, options);
  AddSend(line, options);
  AddReplay(line, options);
  AddRecords(line, options);
  AddPorts(line, options);
  AddScan(line, options);
  return line.Main(argc, argv);
}
