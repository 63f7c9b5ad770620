// The weighing functions of a terminal: motion, range, tare, zero and print.
//
// Rules that users of such terminals know:
//   - A tare or zero key pressed in motion waits up to kWaitForRest for the platform to rest and is
//     forgotten after that; clear, preset tare and print act at once.
//   - Tare takes a weight above zero and within range, a preset tare lies between 0 and the
//     capacity, where 0 clears. A new tare replaces the old one.
//   - Zero takes only what lies within kZeroRange of the calibrated zero, and nothing while a tare
//     is in effect.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "base/event.hpp"
#include "tools/tarnsim/graduation.hpp"
#include "tools/tarnsim/load_model.hpp"
#include "tools/tarnsim/terminal_command.hpp"

namespace tarn::sim {

/// Weights in display digits.
struct Reading {
  std::int32_t gross = 0;
  std::int32_t tare = 0;
  bool netMode = false;  ///< a tare is in effect
  bool motion = false;
  bool centreOfZero = false;  ///< gross mode and within a quarter of a division of zero
  bool overRange = false;     ///< more than 9 divisions above the capacity
  bool underRange = false;    ///< more than 5 divisions below zero
  bool zeroed = true;         ///< zero was set since the terminal was switched on

  std::int32_t Displayed() const { return gross - tare; }
  bool OutOfRange() const { return overRange || underRange; }

  bool operator==(const Reading&) const = default;
};

class Indicator {
 public:
  static constexpr double kWaitForRest = 3000;  // milliseconds
  static constexpr double kZeroRange = 0.02;    // of the capacity
  static constexpr std::int32_t kOverDivisions = 9;
  static constexpr std::int32_t kUnderDivisions = 5;

  struct Options {
    Graduation graduation;
    bool zeroedAtStart = true;
  };

  Indicator(const Options& options, LoadScript script, const LoadModel::Options& load);
  Indicator(const Indicator&) = delete;
  Indicator& operator=(const Indicator&) = delete;

  /// Makes the conversions that are due by `now`, in milliseconds since the start.
  void AdvanceTo(double now);
  const Reading& Present() const { return reading_; }
  /// The immediate result of a key.
  enum class Outcome { Done, Waits, Refused };
  Outcome Press(const TerminalCommand& command);

  Event<> PrintPressed;
  Event<std::string_view> Noted;  ///< the result of a key, in words

 private:
  static bool NeedsRest(TerminalCommand::Key key);
  void WatchMotion();
  void Refresh();
  void ServeWaitingKey();
  bool Act(const TerminalCommand& command);
  bool Tare();
  bool PresetTare(double tare);
  bool Zero();
  void SetTare(std::int32_t digits);

  Options options_;
  LoadModel load_;
  double capacity_;
  double now_ = 0;
  double weight_ = 0;  ///< from the calibrated zero
  double zero_ = 0;    ///< the zero that was set, from the calibrated one
  double referenceWeight_ = 0;
  double referenceTime_ = 0;
  double movedAt_;
  std::optional<TerminalCommand> waiting_;
  double waitingSince_ = 0;
  Reading reading_;
};

}  // namespace tarn::sim
