#include "tools/tarnsim/indicator.hpp"

#include <cmath>
#include <limits>
#include <string>
#include <utility>

namespace tarn::sim {
namespace {

using Key = TerminalCommand::Key;

// Longer than half a swing of the platform, which stands still for a moment at each turning point.
constexpr double kMotionTime = 350;  // milliseconds

}  // namespace

Indicator::Indicator(const Options& options, LoadScript script, const LoadModel::Options& load)
    : options_(options),
      load_(std::move(script), load),
      capacity_(options.graduation.Weight(options.graduation.capacity)),
      movedAt_(std::numeric_limits<double>::lowest()) {
  reading_.zeroed = options.zeroedAtStart;
  Refresh();
}

void Indicator::AdvanceTo(double now) {
  while (load_.NextConversion() <= now) {
    now_ = load_.NextConversion();
    weight_ = load_.Convert();
    WatchMotion();
    Refresh();
    if (waiting_) ServeWaitingKey();
    for (const TerminalCommand& key : load_.TakeKeys()) Press(key);
  }
}

Indicator::Outcome Indicator::Press(const TerminalCommand& command) {
  if (!NeedsRest(command.key) || !reading_.motion) {
    return Act(command) ? Outcome::Done : Outcome::Refused;
  }
  waiting_ = command;
  waitingSince_ = now_;
  Noted.Raise("waits for the platform to rest");
  return Outcome::Waits;
}

bool Indicator::NeedsRest(TerminalCommand::Key key) {
  return key == TerminalCommand::Key::Tare || key == TerminalCommand::Key::Zero;
}

void Indicator::ServeWaitingKey() {
  if (!reading_.motion) {
    Act(*std::exchange(waiting_, std::nullopt));
  } else if (now_ - waitingSince_ > kWaitForRest) {
    waiting_.reset();
    Noted.Raise("forgotten: the platform did not rest");
  }
}

/// Motion is a change of more than one division within kMotionTime. Slower changes are drift.
void Indicator::WatchMotion() {
  const bool moved = std::abs(weight_ - referenceWeight_) > options_.graduation.Division();
  if (moved) movedAt_ = now_;
  if (moved || now_ - referenceTime_ >= kMotionTime) {
    referenceWeight_ = weight_;
    referenceTime_ = now_;
  }
}

void Indicator::Refresh() {
  const Graduation& graduation = options_.graduation;
  const double gross = weight_ - zero_;
  reading_.gross = graduation.Digits(gross);
  reading_.motion = now_ - movedAt_ < kMotionTime;
  reading_.centreOfZero = !reading_.netMode && std::abs(gross) <= graduation.Division() / 4;
  reading_.overRange = reading_.gross > graduation.capacity + kOverDivisions * graduation.step;
  reading_.underRange = reading_.gross < -kUnderDivisions * graduation.step;
}

/// False where the key was refused.
bool Indicator::Act(const TerminalCommand& command) {
  switch (command.key) {
    case Key::Clear:
      waiting_.reset();
      SetTare(0);
      break;
    case Key::Tare:
      return Tare();
    case Key::PresetTare:
      return PresetTare(command.tare);
    case Key::Zero:
      return Zero();
    case Key::Print:
      Noted.Raise("prints");
      PrintPressed.Raise();
      break;
  }
  return true;
}

bool Indicator::Tare() {
  if (reading_.gross <= 0 || reading_.OutOfRange()) {
    Noted.Raise("refused: no weight within range to tare");
    return false;
  }
  SetTare(reading_.gross);
  return true;
}

bool Indicator::PresetTare(double tare) {
  const std::int32_t digits = options_.graduation.Digits(tare);
  if (digits < 0 || digits > options_.graduation.capacity) {
    Noted.Raise("refused: a tare lies between 0 and the capacity");
    return false;
  }
  SetTare(digits);
  return true;
}

void Indicator::SetTare(std::int32_t digits) {
  reading_.tare = digits;
  reading_.netMode = digits != 0;
  Refresh();
  if (digits == 0) {
    Noted.Raise("tare cleared");
  } else {
    Noted.Raise("tare " + options_.graduation.Text(digits));
  }
}

bool Indicator::Zero() {
  if (reading_.netMode) {
    Noted.Raise("refused: a tare is in effect");
    return false;
  }
  if (std::abs(weight_) > kZeroRange * capacity_) {
    Noted.Raise("refused: more than 2 % of the capacity away from zero");
    return false;
  }
  zero_ = weight_;
  reading_.zeroed = true;
  Refresh();
  Noted.Raise("zeroed");
  return true;
}

}  // namespace tarn::sim
