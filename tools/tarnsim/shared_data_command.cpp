#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/automation_error.hpp"
#include "platform/socket.hpp"
#include "tools/tarnsim/commands.hpp"
#include "tools/tarnsim/shared_data_terminal.hpp"
#include "tools/tarnsim/terminal_run.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

constexpr int kTerminalPort = 1701;

constexpr const char* kSharedDataFooter =
    R"(

Each terminal uses UDP port 1701 of its own address: 127.0.0.2, 127.0.0.3 and so on. Start the
terminals before the server: the server's scale 1 uses port 1701 of all addresses, and on Linux it
may only come second.

A terminal knows the variables of its scales: status, weights, units, commands, preset tare. A table
adds others or replaces these; one a line:
  NAME TYPE [COUNT] [= VALUE ...] [: BEHAVIOUR]
  TYPE       bit char byte short long float double; with COUNT: string chararray bytearray longarray
             longtext (13 characters an element)
  VALUE      numbers, one an element, missing ones are 0; or "text" for char, string, chararray
  BEHAVIOUR  fixed (takes no writes), silent, count STEP every DURATION,
             after DURATION VALUE (takes this value so long after a write)
  NAME : live status|gross|net|tare|units
  NAME : press C|T|Z|P|tare

Examples:
  tarnsim shareddata --address 127.0.0.2
  tarnsim shareddata --address 127.0.1.%d --count 32 --load "load 12.5"
  tarnsim shareddata --address 127.0.0.2 --table examples/diagnosis.txt --lost 0.05 --late 0.05)";

struct SharedDataOptions {
  CommonOptions common;
  std::string scales = "a";
  std::vector<std::string> tables;
  int printReads = 2;
  double printEvery = 0;  ///< seconds
  bool answerUnknown = false;
  ReplyFaults faults;
  std::string silent;
};

/// A terminal on its socket.
class SocketTerminal final : public Terminal {
 public:
  SocketTerminal(const SharedDataTerminal::Options& options, TerminalParts parts, Host& host)
      : terminal_(options, std::move(parts.indicator)), socket_(host.CreateSocket()) {
    notes_ = terminal_.Noted.Subscribe([this](std::string_view text) { Noted.Raise(text); });
    frames_ =
        terminal_.FrameSent.Subscribe([this](std::string_view bytes) { FrameSent.Raise(bytes); });
    answers_ = terminal_.Answer.Subscribe(
        [this](std::string_view reply, const Peer& to) { Send(reply, to); });
    arrivals_ = socket_->DataArrival.Subscribe([this](std::int32_t) {
      const Peer from{socket_->SenderHost(), socket_->SenderPort()};
      terminal_.Receive(socket_->GetData(), from);
    });
    Open(parts.port);
  }

  void Tick(double now) override { terminal_.Tick(now); }
  void Press(const TerminalCommand& command) override { terminal_.Press(command); }

 private:
  void Open(const std::string& address) {
    socket_->Transport(SocketTransport::Udp);
    socket_->LocalHost(address);
    try {
      socket_->Bind(kTerminalPort);
    } catch (const AutomationError& error) {
      if (error.Number() != ErrorNumber::SocketAddressInUse) throw;
      throw AutomationError(error.Number(),
                            "UDP port 1701 of " + address +
                                " is in use, by another terminal or by the server's scale 1: start "
                                "the terminals first",
                            error.Source());
    }
  }

  void Send(std::string_view reply, const Peer& to) {
    socket_->RemoteHost(to.host);
    socket_->RemotePort(to.port);
    socket_->SendData(reply);
  }

  SharedDataTerminal terminal_;
  std::shared_ptr<SocketControl> socket_;
  Subscription notes_;
  Subscription frames_;
  Subscription answers_;
  Subscription arrivals_;
};

SharedDataTerminal::Options TerminalOptions(const SharedDataOptions& options, TerminalRun& run) {
  SharedDataTerminal::Options terminal;
  for (const char letter : options.scales) AddVariables(terminal.table, ScaleVariables(letter));
  for (const std::string& name : options.tables) {
    // One byte more than allowed, so that the reader sees a file that is too long.
    AddVariables(terminal.table, run.System().Files().Read(name, VariableTable::kMaxText + 1));
  }
  terminal.units = run.Setup().units;
  terminal.graduation = run.Setup().graduation;
  terminal.printReads = options.printReads;
  terminal.printEvery = options.printEvery * 1000;
  terminal.answerUnknown = options.answerUnknown;
  terminal.faults = options.faults;
  if (!options.silent.empty()) terminal.faults.silent = ParseSchedule(options.silent);
  return terminal;
}

void RunSharedData(SharedDataOptions options) {
  options.common.datagrams = true;
  TerminalRun run(options.common);
  SharedDataTerminal::Options terminal = TerminalOptions(options, run);
  run.Run([&](TerminalParts parts) {
    terminal.seed = parts.seed;
    return std::make_unique<SocketTerminal>(terminal, std::move(parts), run.System());
  });
}

void AddVariableOptions(Command& command, SharedDataOptions& options) {
  command.Group("Terminals");
  command
      .Add("--address", options.common.ports,
           "Address of a terminal, such as 127.0.0.2; repeat it for several")
      .Required();
  command
      .Add("--count", options.common.count,
           "Makes this many terminals; %d in the address becomes 1, 2, 3 ...")
      .Range(1, 254)
      .ShowDefault();
  command
      .Add("--scales", options.scales,
           "Letters of the terminal's scales, of a to e; all show the same load")
      .ShowDefault();
  command.Add("--table", options.tables, "File with more variables (see below)");
  command.Flag("--answer-unknown", options.answerUnknown,
               "Answers requests for unknown variables, with no data");
  command.Add("--print-reads", options.printReads, "Reads of the status that show one print")
      .Range(1, 1000)
      .ShowDefault();
  command.Add("--print-every", options.printEvery, "Presses the print key every so many seconds")
      .Range(0.0, 1e6);
}

void AddReplyFaults(Command& command, SharedDataOptions& options) {
  command.Group("Faults (all off unless given)");
  const auto add = [&](const char* name, double& value, const char* description) {
    command.Add(name, value, description).Range(0.0, 1.0);
  };
  ReplyFaults& faults = options.faults;
  add("--lost", faults.lost, "Chance of each reply to get lost");
  add("--late", faults.late, "Chance of each reply to come late");
  command.Add("--late-by", faults.lateBy, "Milliseconds by which it comes late")
      .Range(1.0, 1e6)
      .ShowDefault();
  add("--double", faults.doubled, "Chance of each reply to come twice");
  add("--reorder", faults.reordered, "Chance of each reply to come behind the next one");
  add("--foreign", faults.foreign, "Chance of an additional reply, of another variable");
  add("--malformed", faults.malformed,
      "Chance of each reply to be cut, of a wrong length or noise");
  add("--join", faults.joined, "Chance of each reply to come in one datagram with the next");
  command.Add("--silence", options.silent,
              "EVERY/LENGTH: answers nothing for LENGTH every EVERY, like 30s/5s");
}

}  // namespace

void AddSharedDataCommand(CommandLine& line) {
  const auto options = std::make_shared<SharedDataOptions>();
  Command& command =
      line.Add("shareddata", "Terminals whose variables are read and written over UDP");
  command.Footer(std::string(kLoadScriptHelp) + kSharedDataFooter);
  AddVariableOptions(command, *options);
  AddTerminalOptions(command, options->common);
  AddReplyFaults(command, *options);
  command.OnRun([options] {
    RunSharedData(*options);
    return tool::kSuccess;
  });
}

}  // namespace tarn::sim
