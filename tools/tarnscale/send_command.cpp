// send: runs one scale and gives it one command.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/scale_commands.hpp"
#include "tools/tarnscale/scale_event.hpp"
#include "tools/tarnscale/scale_file.hpp"

namespace tarn::tool {
namespace {

/// The time for the line to carry the command and for the terminal to act on it.
constexpr std::int32_t kSettlingTime = 1000;  // milliseconds

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

/// Runs one scale of a file by itself, without a server.
class SingleScale {
 public:
  SingleScale(Program& program, int number)
      : program_(program), file_(program.Host(), program.Options().file) {
    file_.Load();
    scale_ = file_.At(number);
    file_.Scale(number);  // fails in words where there is none
    title_ = ScaleTitle(number, scale_->AliasName());
    file_.Site().Log().Stream(program.OpenLog());
    file_.Site().Log().Enabled(!program.Options().log.empty());
    onPrint_ = scale_->PrintData()->NewWeight.Subscribe([this] { printed_ = true; });
    onWeight_ = scale_->WeightData()->NewWeight.Subscribe([this] { TakeReading(); });
    onRecord_ = scale_->TarnRecordTemplateData()->NewDataReady.Subscribe(
        [this] { record_ = FieldsText(FieldsOf(*scale_->TarnRecordTemplateData())); });
    onInterrupted_ = program.Output().Interrupted.Subscribe([this] { interrupted_ = true; });
  }

  int Send(const ScaleCommand& command, double tare, double patience) {
    const std::string hindrance = CommandHindrance(*scale_, command);
    if (!hindrance.empty()) {
      throw Failure(title_ + " cannot take " + std::string(command.name) + ": " + hindrance +
                    "; see: tarnscale set --help");
    }
    try {
      scale_->RunScale();
      return GoesToTerminal(command.command) ? SendToTerminal(command, tare, patience)
                                             : TakePrint(command, patience);
    } catch (const AutomationError& error) {
      throw Failure(title_ + ": " + error.what());
    }
  }

 private:
  int SendToTerminal(const ScaleCommand& command, double tare, double patience) {
    // A network connection takes its time.
    WaitFor([this] { return interrupted_ || LineCondition(*scale_).empty(); },
            Milliseconds(patience));
    if (const std::string condition = LineCondition(*scale_); !condition.empty()) {
      throw Failure(title_ + ": nothing can be sent: " + condition);
    }
    if (scale_->Protocol()->CommandsFollowReadings()) AwaitReading(patience);
    reading_.reset();
    GiveCommand(*scale_, command, tare);
    program_.Say(std::string(command.name) + " sent to " + title_);
    if (command.command == OperatorCommand::Print) return AwaitPrint(patience);
    WaitFor([this] { return interrupted_; }, kSettlingTime);
    return PrintReading();
  }

  /// Only a reading shows what the command did.
  int PrintReading() {
    if (reading_) {
      const std::string state = StateText(*reading_);
      Print(title_ + ": now " + WeightsText(*reading_) + (state.empty() ? "" : " (" + state + ")"));
    } else {
      program_.Say(title_ + ": no reading came, so it is unknown whether the terminal took it");
    }
    return kSuccess;
  }

  int TakePrint(const ScaleCommand& command, double patience) {
    // An immediate capture would take the blank record of a scale that has just started.
    AwaitReading(patience);
    GiveCommand(*scale_, command);
    return AwaitPrint(patience);
  }

  int AwaitPrint(double patience) {
    WaitFor([this] { return interrupted_ || printed_ || record_; }, Milliseconds(patience));
    if (record_) {
      Print(title_ + ": record " + *record_);
      return kSuccess;
    }
    if (!printed_) {
      throw Failure(title_ + ": no print record within " + GeneralNumberText(patience) +
                    " s: the weight did not come to rest, or the terminal does not answer");
    }
    Print(title_ + ": print " + WeightsText(ReadingOf(*scale_->PrintData())));
    return kSuccess;
  }

  template <class Condition>
  void WaitFor(Condition condition, std::int32_t milliseconds) {
    program_.Host().Loop().RunUntil(condition, milliseconds);
  }

  static std::int32_t Milliseconds(double seconds) {
    return static_cast<std::int32_t>(std::clamp(seconds * 1000, 1.0, 1e9));
  }

  void AwaitReading(double patience) {
    WaitFor([this] { return interrupted_ || reading_; }, Milliseconds(patience));
    if (!reading_) throw Failure(title_ + ": no reading came: is the terminal on and wired?");
  }

  /// The blank record of the start and "Error" are no readings. The no-data flag does not help
  /// here: it stays set until the next time-out, even when readings come.
  void TakeReading() {
    Reading reading = ReadingOf(*scale_->WeightData());
    if (!reading.units.empty() && reading.net != kNoDataText) reading_ = std::move(reading);
  }

  void Print(const std::string& line) { program_.Output().Write(line + "\n"); }

  Program& program_;
  ScaleFile file_;
  std::shared_ptr<TarnScale> scale_;
  std::string title_;
  bool printed_ = false;
  std::optional<std::string> record_;  ///< of a terminal that prints records of fields
  bool interrupted_ = false;
  std::optional<Reading> reading_;  ///< the latest
  Subscription onPrint_;
  Subscription onRecord_;
  Subscription onWeight_;
  Subscription onInterrupted_;
};

}  // namespace

int SendCommand(Program& program, const SendOptions& options) {
  const ScaleCommand& command = CommandOf(options);
  const double tare = TareOf(options, command);
  SingleScale scale(program, options.scale);
  return scale.Send(command, tare, options.wait);
}

}  // namespace tarn::tool
