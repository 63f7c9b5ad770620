// Finds the weighings in a scale's readings: each load once, when it has come to rest.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "scale/weight_data.hpp"

namespace tarn {

/// What a scale's detection goes by. Error 380 where one is negative or no number.
struct DetectionSettings {
  /// The load from which a reading may be a weighing, in the unit that the scale shows; 0 turns the
  /// detection off.
  double minimum = 0;
  /// For how many milliseconds the load must rest; 0 takes the first reading without motion.
  std::int32_t stable = 1000;
  /// How far the readings of that time may lie apart, in steps of the last digit shown. A scale
  /// that counts by 5 has divisions of 5 digits.
  std::int32_t digits = 1;
  /// Only below this load does the detection wait for the next weighing; 0 is half the minimum.
  double rearm = 0;

  bool operator==(const DetectionSettings&) const = default;
};

/// One complete reading, as the detection looks at it.
struct LoadReading {
  double at = 0;          ///< by the loop's clock, in milliseconds
  double staleAfter = 0;  ///< milliseconds for which a reading stands for the load
  std::string_view units{};
  bool motion = false;
  bool isGross = true;
  std::optional<double> load{};  ///< nothing where the scale is out of range or shows no number
  double digit = 1;              ///< one step of the last digit: 0.01 for "12.50"
};

/// Looks at the gross weight, since taring puts nothing on the platform and takes nothing off; at
/// the net weight where the terminal sends no gross.
LoadReading LoadReadingOf(const WeightData& record, double at, double staleAfter);

/// Has no timer and reads no clock: only a reading can be a weighing, the one that shows that the
/// load has rested long enough. The time counts from the reading from which all lie within the
/// digits of one another. Motion, a load below the minimum, a reading without a load, another unit,
/// and a pause after which the former reading is stale make it begin again.
///
/// After a weighing the detection waits until a reading is below the limit. It looks at readings
/// alone: a load that is changed between two of them, or in silence, is not noticed.
class WeighingDetector {
 public:
  const DetectionSettings& Settings() const { return settings_; }
  /// Turning the detection on is a fresh start; other changes only let the time begin again.
  void Settings(const DetectionSettings& settings);
  bool IsOn() const { return settings_.minimum > 0; }

  /// A fresh start: a load that is there already counts.
  void Restart();

  /// Whether this reading is a weighing. Only while IsOn.
  bool Take(const LoadReading& reading);

 private:
  bool GoesOn(const LoadReading& reading, double gap) const;
  bool Extend(const LoadReading& reading);
  void Begin(const LoadReading& reading);

  DetectionSettings settings_;
  bool armed_ = true;
  double lastAt_ = 0;

  // The readings at rest.
  bool resting_ = false;
  double since_ = 0;
  double lowest_ = 0;
  double highest_ = 0;
  double digit_ = 1;
  bool isGross_ = true;
  std::string units_;
};

}  // namespace tarn
