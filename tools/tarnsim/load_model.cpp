#include "tools/tarnsim/load_model.hpp"

#include <cmath>
#include <utility>
#include <variant>

namespace tarn::sim {
namespace {

// A platform with its filter swings about two times a second and rests within two seconds.
constexpr double kSwing = 12;      // radians per second
constexpr double kDamping = 0.45;  // of critical
constexpr double kAtRest = 1e-9;   // weight, and weight per second

constexpr double kDriftPeriod = 180'000;  // milliseconds
constexpr double kTwoPi = 6.283185307179586;

enum Stream : std::uint64_t { kLoads = 1, kNoise = 2 };

}  // namespace

LoadModel::LoadModel(LoadScript script, const Options& options)
    : script_(std::move(script)),
      options_(options),
      loads_(options.seed, kLoads),
      noise_(options.seed, kNoise),
      driftPhase_(noise_.Between(0, kTwoPi)) {}

double LoadModel::Convert() {
  const double now = NextConversion();
  ++conversions_;
  PlayUntil(now);
  Settle(LoadAt(now));
  return position_ + Disturbance(now);
}

void LoadModel::PlayUntil(double now) {
  while (stepEnd_ <= now && NextStep()) {
  }
}

/// False at the end of the script, where the load stays.
bool LoadModel::NextStep() {
  if (nextStep_ == script_.steps.size()) {
    if (!NextPass()) return false;
    nextStep_ = 0;
  }
  stepStart_ = stepEnd_;
  startLoad_ = endLoad_;
  std::visit([this](const auto& step) { Begin(step); }, script_.steps[nextStep_++]);
  return true;
}

bool LoadModel::NextPass() {
  if (script_.steps.empty() || script_.passes == 1) return false;
  if (script_.passes > 1) --script_.passes;
  return true;
}

void LoadModel::Begin(const SetLoad& step) {
  endLoad_ = Draw(step.amount);
  startLoad_ = endLoad_;
}

void LoadModel::Begin(const Ramp& step) {
  if (!step.fromPresent) startLoad_ = Draw(step.from);
  endLoad_ = Draw(step.to);
  stepEnd_ += Draw(step.duration);
}

void LoadModel::Begin(const Wait& step) {
  stepEnd_ += Draw(step.duration);
}

/// A key takes the time of one conversion, so that it meets the present load and not the next one.
void LoadModel::Begin(const PressKey& step) {
  keys_.push_back(step.command);
  stepEnd_ += kConversionTime;
}

double LoadModel::LoadAt(double now) const {
  if (now >= stepEnd_) return endLoad_;
  const double part = (now - stepStart_) / (stepEnd_ - stepStart_);
  return startLoad_ + (endLoad_ - startLoad_) * part;
}

/// Moves a damped spring on by the time of one conversion.
void LoadModel::Settle(double load) {
  constexpr double seconds = kConversionTime / 1000;
  const double acceleration =
      kSwing * kSwing * (load - position_) - 2 * kDamping * kSwing * velocity_;
  velocity_ += acceleration * seconds;
  position_ += velocity_ * seconds;
  // Without this it would approach rest in ever smaller numbers.
  if (std::abs(load - position_) < kAtRest && std::abs(velocity_) < kAtRest) {
    position_ = load;
    velocity_ = 0;
  }
}

double LoadModel::Disturbance(double now) {
  double sum = 0;
  if (options_.noise > 0) sum += noise_.Between(-options_.noise, options_.noise);
  if (options_.drift > 0) {
    sum += options_.drift * std::sin(kTwoPi * now / kDriftPeriod + driftPhase_);
  }
  return sum;
}

double LoadModel::Draw(const Span& span) {
  return span.low == span.high ? span.low : loads_.Between(span.low, span.high);
}

double LoadModel::Draw(const Amount& amount) {
  return Draw(amount.span) * (amount.percent ? options_.capacity / 100 : 1);
}

}  // namespace tarn::sim
