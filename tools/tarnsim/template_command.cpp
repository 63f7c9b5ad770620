#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tools/escaped_text.hpp"
#include "tools/tarnsim/commands.hpp"
#include "tools/tarnsim/template_terminal.hpp"
#include "tools/tarnsim/terminal_run.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

constexpr int kRecordPort = 1749;

constexpr const char* kTemplateFooter =
    R"(A record is START FIELD DELIMITER FIELD ... TERMINATOR. Fields: number (of the print), id, gross,
tare, net, units. Texts may have \r \n \t \b \\ and \xHH in them.

With --listen each terminal listens at its own address, TCP port 1749; a line that vanishes
(--vanish) is then a connection that is dropped and accepted again. The faults of frames apply to
whole records, or to their fields with --field-delay.

Started from a keyboard it takes the keys p (print), c, t, z for all its terminals and q to end. The
load script is that of tarnsim continuous --help.

Examples:
  tarnsim template --port /tmp/scale1 --print-every 2
  tarnsim template --listen 127.0.0.2 --print-every 2 --keep-alive 1 --field-delay 0.3
  tarnsim template --port /tmp/scale1 --fields id,net --start "#" --terminator "\x03" --short 0.2)";

struct TemplateOptions {
  CommonOptions common;
  std::vector<std::string> addresses;
  std::string fields = "number,net,units";
  std::string start;
  std::string delimiter = ",";
  std::string terminator = "\\r\\n";
  bool delimiterAtEnd = false;
  std::string demand;
  double printEvery = 0;  ///< seconds
  double fieldDelay = 0;  ///< seconds
  double keepAlive = 0;   ///< seconds
  double shortRecords = 0;
};

std::string LineBytes(UserLocale& locale, const std::string& text) {
  const auto plain = FromEscapes(text);
  if (!plain) throw UsageError("In \"" + text + "\" " + kEscapesHelp);
  return locale.ToBytes(*plain);
}

TemplateTerminal::Options TerminalOptions(const TemplateOptions& options, TerminalRun& run) {
  UserLocale& locale = run.System().Locale();
  const std::string usualDemand = options.addresses.empty() ? "P" : "\b";
  TemplateTerminal::Options terminal;
  terminal.layout = {.startString = LineBytes(locale, options.start),
                     .delimiter = LineBytes(locale, options.delimiter),
                     .terminator = LineBytes(locale, options.terminator),
                     .delimiterAtEnd = options.delimiterAtEnd,
                     .fields = ParseRecordFields(options.fields),
                     .units = run.Setup().units,
                     .graduation = run.Setup().graduation};
  terminal.demand = options.demand.empty() ? usualDemand : LineBytes(locale, options.demand);
  terminal.printEvery = options.printEvery * 1000;
  terminal.fieldDelay = options.fieldDelay * 1000;
  terminal.keepAlive = options.keepAlive * 1000;
  terminal.shortRecords = options.shortRecords;
  return terminal;
}

void RunTemplate(TemplateOptions options) {
  if (options.addresses.empty() == options.common.ports.empty()) {
    throw UsageError("Write where the terminals are: --port for serial lines or --listen for TCP");
  }
  if (!options.addresses.empty()) {
    options.common.ports = options.addresses;
    options.common.tcpPort = kRecordPort;
  }
  TerminalRun run(options.common);
  TemplateTerminal::Options terminal = TerminalOptions(options, run);
  run.Run([&](TerminalParts parts) {
    terminal.seed = parts.seed;
    return std::make_unique<TemplateTerminal>(terminal, std::move(parts.indicator),
                                              std::move(parts.line));
  });
}

void AddRecordOptions(Command& command, TemplateOptions& options) {
  command.Group("Records");
  const auto add = [&](const char* name, auto& value, const char* description) {
    return command.Add(name, value, description).ShowDefault();
  };
  add("--fields", options.fields, "Names of the fields, with commas between them");
  add("--start", options.start, "Text in front of the first field");
  add("--delimiter", options.delimiter, "Text between two fields");
  add("--terminator", options.terminator, "Text behind the last field");
  command.Flag("--last-delimiter", options.delimiterAtEnd,
               "Sends the delimiter behind the last field too");
  add("--demand", options.demand,
      "Text on the line that demands a record; P, or \\b over TCP, when not given");
  constexpr double kLongest = 1e6;  // seconds
  add("--print-every", options.printEvery, "Presses the print key every so many seconds")
      .Range(0.0, kLongest);
  add("--field-delay", options.fieldDelay, "Seconds between the fields of a record")
      .Range(0.0, kLongest);
  add("--keep-alive", options.keepAlive,
      "Sends \"!!I'm Alive!!\" every so many seconds, also inside records; 0 for never")
      .Range(0.0, kLongest);
  add("--short", options.shortRecords, "Chance of each record to end after fewer fields")
      .Range(0.0, 1.0);
}

}  // namespace

void AddTemplateCommand(CommandLine& line) {
  const auto options = std::make_shared<TemplateOptions>();
  Command& command =
      line.Add("template", "Terminals that print records of fields, by themselves or on demand");
  command.Footer(kTemplateFooter);
  AddRecordOptions(command, *options);
  AddCommonOptions(command, options->common);
  command.Known("--port").Required(false);
  command.Group("Lines");
  command
      .Add("--listen", options->addresses,
           "Address at which a terminal is reached over TCP, such as 127.0.0.2; repeat it "
           "for several")
      .Without("--port");
  command.OnRun([options] {
    RunTemplate(*options);
    return tool::kSuccess;
  });
}

}  // namespace tarn::sim
