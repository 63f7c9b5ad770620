// One scale of a file that runs by itself for a moment, without a server.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "outlets/scale_event.hpp"
#include "tools/tarnscale/program.hpp"
#include "tools/tarnscale/scale_file.hpp"

namespace tarn::tool {

class SingleScale {
 public:
  /// Throws Failure where the file has no such scale.
  SingleScale(Program& program, int number);

  TarnScale& Scale() { return *scale_; }
  /// "Scale 3 (Packing)".
  std::string Title() const { return scale_->Title(); }

  /// Runs the scale. Throws Failure.
  void Start();
  /// Waits until the terminal can be reached, or throws Failure after so many seconds.
  void AwaitLine(double seconds);
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

 private:
  Program& program_;
  ScaleFile file_;
  std::shared_ptr<TarnScale> scale_;
  bool interrupted_ = false;
  std::optional<Reading> reading_;
  std::optional<Reading> print_;
  std::optional<std::string> record_;
  Subscription onPrint_;
  Subscription onRecord_;
  Subscription onWeight_;
  Subscription onInterrupted_;
};

}  // namespace tarn::tool
