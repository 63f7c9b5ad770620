// One scale for a moment, as read and send use it: run here, or by a tarnscale that runs already.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "outlets/scale_commands.hpp"
#include "outlets/scale_event.hpp"
#include "tools/tarnscale/program.hpp"

namespace tarn::tool {

class OneScale {
 public:
  explicit OneScale(Program& program);
  OneScale(const OneScale&) = delete;
  OneScale& operator=(const OneScale&) = delete;
  virtual ~OneScale() = default;

  virtual int Number() const = 0;
  virtual std::string Alias() const = 0;
  virtual bool IsDisabled() const = 0;
  /// "Scale 3 (Packing)".
  std::string Title() const { return ScaleTitle(Number(), Alias()); }

  /// Has the scale run. Throws Failure.
  virtual void Start() = 0;
  /// Waits until the terminal can be reached, or throws Failure after so many seconds.
  virtual void AwaitLine(double seconds) = 0;
  /// Whether a command goes out only with the next reading.
  virtual bool CommandsFollowReadings() const = 0;
  /// Why the command would have no effect, as far as that is known before; empty where it has one.
  virtual std::string Hindrance(const ScaleCommand& command) const = 0;
  /// Throws Failure where the scale does not take it.
  virtual void Give(const ScaleCommand& command, double tare) = 0;

  /// Serves the scale until the condition holds, the time is over, or the user ends it. Returns
  /// whether the condition holds.
  bool WaitFor(const std::function<bool()>& condition, double seconds);

  /// The latest reading, print and record of fields since the start or Forget. The blank record of
  /// the start and the no-data state are no readings; the no-data flag does not help here, since it
  /// stays set until the next time-out, even when readings come.
  const std::optional<Reading>& LatestReading() const { return reading_; }
  const std::optional<Reading>& LatestPrint() const { return print_; }
  const std::optional<std::string>& LatestRecord() const { return record_; }
  void Forget();

 protected:
  void TakeReading(Reading reading);
  void TakePrint(Reading print) { print_ = std::move(print); }
  void TakeRecord(const std::vector<Field>& fields) { record_ = FieldsText(fields); }
  Program& TheProgram() const { return program_; }

 private:
  Program& program_;
  bool interrupted_ = false;
  std::optional<Reading> reading_;
  std::optional<Reading> print_;
  std::optional<std::string> record_;
  Subscription onInterrupted_;
};

/// The scale of the running server that the options name, or of the one that runs this settings
/// file; where there is none, the scale runs here. Throws Failure and UsageError.
std::unique_ptr<OneScale> OpenScale(Program& program, const std::string& number);

}  // namespace tarn::tool
