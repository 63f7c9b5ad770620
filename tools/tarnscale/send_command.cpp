// send: runs one scale and gives it one command.
#include <memory>
#include <string>

#include "base/number_text.hpp"
#include "outlets/scale_commands.hpp"
#include "outlets/scale_event.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/one_scale.hpp"
#include "tools/tarnscale/scale_file.hpp"

namespace tarn::tool {
namespace {

/// The time for the line to carry the command and for the terminal to act on it.
constexpr double kSettlingTime = 1;  // seconds

const ScaleCommand& CommandOf(const SendOptions& options) {
  if (const ScaleCommand* command = FindCommand(options.command)) return *command;
  std::string known;
  for (const ScaleCommand& command : ScaleCommands()) {
    known += "\n  " + Fit(command.name, 10) + std::string(command.help);
  }
  throw UsageError("there is no command '" + Printable(options.command) +
                   "'; the commands are:" + known);
}

double TareOf(const SendOptions& options, const ScaleCommand& command) {
  const bool wanted = command.command == OperatorCommand::PresetTare;
  if (!wanted && !options.value.empty()) {
    throw UsageError(std::string(command.name) + " takes no value");
  }
  if (!wanted) return 0;
  const auto tare = LocaleNumber(options.value, ".");
  if (!tare) throw UsageError("SetTare needs a weight in the terminal's units, such as 12.5");
  return *tare;
}

class Sending {
 public:
  Sending(Program& program, const SendOptions& options)
      : program_(program),
        patience_(options.wait),
        opened_(OpenScale(program, options.scale)),
        scale_(*opened_) {}

  int Send(const ScaleCommand& command, double tare) {
    const std::string hindrance = scale_.Hindrance(command);
    if (!hindrance.empty()) {
      throw Failure(scale_.Title() + " cannot take " + std::string(command.name) + ": " +
                        hindrance + "; see: tarnscale set --help",
                    kRefused);
    }
    scale_.Start();
    return GoesToTerminal(command.command) ? SendToTerminal(command, tare) : TakePrint(command);
  }

 private:
  int SendToTerminal(const ScaleCommand& command, double tare) {
    scale_.AwaitLine(patience_);
    if (scale_.CommandsFollowReadings()) AwaitReading();
    scale_.Forget();
    scale_.Give(command, tare);
    program_.Say(std::string(command.name) + " sent to " + scale_.Title());
    if (command.command == OperatorCommand::Print) return AwaitPrint();
    scale_.WaitFor([] { return false; }, kSettlingTime);
    return PrintReading();
  }

  /// Only a reading shows what the command did.
  int PrintReading() {
    const auto& reading = scale_.LatestReading();
    if (!scale_.WaitFor([&] { return reading.has_value(); }, patience_)) {
      throw Failure(scale_.Title() + ": no reading came within " + GeneralNumberText(patience_) +
                        " s, so it is unknown whether the terminal took it",
                    kTimedOut);
    }
    const std::string state = StateText(*reading);
    Print("now " + WeightsText(*reading) + (state.empty() ? "" : " (" + state + ")"));
    return StatusOf(*reading);
  }

  int TakePrint(const ScaleCommand& command) {
    // An immediate capture would take the blank record of a scale that has just started.
    AwaitReading();
    scale_.Give(command, 0);
    return AwaitPrint();
  }

  int AwaitPrint() {
    scale_.WaitFor([this] { return scale_.LatestPrint() || scale_.LatestRecord(); }, patience_);
    if (const auto& record = scale_.LatestRecord()) {
      Print("record " + *record);
      return kSuccess;
    }
    const auto& print = scale_.LatestPrint();
    if (!print) {
      throw Failure(scale_.Title() + ": no print record within " + GeneralNumberText(patience_) +
                        " s: the weight did not come to rest, or the terminal does not answer",
                    kTimedOut);
    }
    Print("print " + WeightsText(*print));
    return StatusOf(*print);
  }

  void AwaitReading() {
    if (!scale_.WaitFor([this] { return scale_.LatestReading().has_value(); }, patience_)) {
      throw Failure(scale_.Title() + ": no reading came: is the terminal on and wired?", kTimedOut);
    }
  }

  int StatusOf(const Reading& reading) {
    if (IsValidWeight(reading)) return kSuccess;
    program_.Complain(scale_.Title() + ": " + Printable(reading.net) + " is no weight to be used");
    return kNoValidWeight;
  }

  void Print(const std::string& what) {
    program_.Output().Write(scale_.Title() + ": " + what + "\n");
  }

  Program& program_;
  double patience_;  ///< seconds
  std::unique_ptr<OneScale> opened_;
  OneScale& scale_;
};

}  // namespace

int SendCommand(Program& program, const SendOptions& options) {
  const ScaleCommand& command = CommandOf(options);
  return Sending(program, options).Send(command, TareOf(options, command));
}

}  // namespace tarn::tool
