// The weight that a platform senses over time: the load of the script, the settling after each
// change, zero drift and noise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "tools/tarnsim/load_script.hpp"
#include "tools/tarnsim/random.hpp"

namespace tarn::sim {

/// Has no clock: its time is the number of conversions so far. So the same script and seed give the
/// same weights, however often the weight is read.
class LoadModel {
 public:
  /// Milliseconds between two conversions of the load cell's signal.
  static constexpr double kConversionTime = 10;

  struct Options {
    double capacity = 100;
    double noise = 0;  ///< weight; each conversion is off by up to so much to either side
    double drift = 0;  ///< weight; the zero wanders slowly within so much to either side
    std::uint64_t seed = 1;
  };

  LoadModel(LoadScript script, const Options& options);

  /// When the next conversion is due, in milliseconds since the start.
  double NextConversion() const { return static_cast<double>(conversions_ + 1) * kConversionTime; }
  /// Makes the next conversion and returns its weight.
  double Convert();
  /// The keys that the script pressed since the last call.
  std::vector<TerminalCommand> TakeKeys() { return std::exchange(keys_, {}); }

 private:
  void PlayUntil(double now);
  bool NextStep();
  bool NextPass();
  void Begin(const SetLoad& step);
  void Begin(const Ramp& step);
  void Begin(const Wait& step);
  void Begin(const PressKey& step);
  double LoadAt(double now) const;
  void Settle(double load);
  double Disturbance(double now);
  double Draw(const Span& span);
  double Draw(const Amount& amount);

  LoadScript script_;  ///< with the passes that are left
  Options options_;
  Random loads_;
  Random noise_;
  double driftPhase_;

  std::vector<TerminalCommand> keys_;
  std::int64_t conversions_ = 0;
  std::size_t nextStep_ = 0;
  double stepStart_ = 0;
  double stepEnd_ = 0;
  double startLoad_ = 0;  ///< load at stepStart_
  double endLoad_ = 0;    ///< load from stepEnd_ on
  double position_ = 0;   ///< of the platform, as a weight
  double velocity_ = 0;   ///< weight per second
};

}  // namespace tarn::sim
