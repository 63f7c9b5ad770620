#include "scale/weighing_detector.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"

namespace tarn {
namespace {

bool IsAmount(double value) {
  return std::isfinite(value) && value >= 0;
}

/// One step of the last digit of a number's text.
double LastDigit(std::string_view text, std::string_view decimalSeparator) {
  const std::size_t point = text.find(decimalSeparator);
  if (decimalSeparator.empty() || point == std::string_view::npos) return 1;
  double step = 1;
  for (std::size_t i = point + decimalSeparator.size();
       i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    step /= 10;
  }
  return step;
}

}  // namespace

LoadReading LoadReadingOf(const WeightData& record, double at, double staleAfter) {
  LoadReading reading{
      .at = at, .staleAfter = staleAfter, .units = record.Units(), .motion = record.Motion()};
  const std::string& separator = record.DecimalSeparator();
  const std::string* text = &record.GrossWeight();
  reading.load = LocaleNumber(*text, separator);
  reading.isGross = reading.load.has_value();
  if (!reading.isGross) {
    text = &record.NetWeight();
    reading.load = LocaleNumber(*text, separator);
  }
  if (reading.load) reading.digit = LastDigit(*text, separator);
  return reading;
}

void WeighingDetector::Settings(const DetectionSettings& settings) {
  if (!IsAmount(settings.minimum) || !IsAmount(settings.rearm) || settings.stable < 0 ||
      settings.digits < 0) {
    throw AutomationError(ErrorNumber::InvalidPropertyValue,
                          "A setting of the detection of weighings is a number, 0 or more");
  }
  if (!IsOn()) Restart();
  resting_ = false;
  settings_ = settings;
}

void WeighingDetector::Restart() {
  armed_ = true;
  resting_ = false;
}

bool WeighingDetector::Take(const LoadReading& reading) {
  const double gap = reading.at - std::exchange(lastAt_, reading.at);
  // A limit above the minimum would make a standing load count again and again.
  const double limit =
      settings_.rearm > 0 ? std::min(settings_.rearm, settings_.minimum) : settings_.minimum / 2;
  if (reading.load && *reading.load < limit) armed_ = true;
  if (!reading.load || reading.motion || *reading.load < settings_.minimum) {
    resting_ = false;
    return false;
  }
  if (!GoesOn(reading, gap) || !Extend(reading)) Begin(reading);
  if (!armed_ || reading.at - since_ < settings_.stable) return false;
  armed_ = false;
  return true;
}

bool WeighingDetector::GoesOn(const LoadReading& reading, double gap) const {
  return resting_ && gap <= reading.staleAfter && reading.isGross == isGross_ &&
         reading.units == units_;
}

/// Where a scale of several ranges shows more digits here than there, the finer ones count. Half a
/// digit more makes up for what binary fractions lack.
bool WeighingDetector::Extend(const LoadReading& reading) {
  lowest_ = std::min(lowest_, *reading.load);
  highest_ = std::max(highest_, *reading.load);
  digit_ = std::min(digit_, reading.digit);
  return highest_ - lowest_ < (settings_.digits + 0.5) * digit_;
}

void WeighingDetector::Begin(const LoadReading& reading) {
  resting_ = true;
  since_ = reading.at;
  lowest_ = highest_ = *reading.load;
  digit_ = reading.digit;
  isGross_ = reading.isGross;
  units_ = reading.units;
}

}  // namespace tarn
