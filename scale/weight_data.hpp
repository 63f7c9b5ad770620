// The live weight of a scale: what clients read and what protocols write.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/event.hpp"
#include "scale/data_object.hpp"

namespace tarn {

/// The text that stands for a weight that is out of range or that the terminal does not deliver.
inline constexpr std::string_view kNoWeightText = "*******";
/// What the three weights read while there is no data.
inline constexpr std::string_view kNoDataText = "Error";

/// Clients only read. A protocol publishes one reading by writing texts and flags in any order and
/// OutOfRange last, which commits the reading and raises NewWeight. The values follow the texts by
/// the locale; a text that is no number has the value 0.
class WeightData final : public DataObject {
 public:
  /// The separator of the user's locale, by which the texts are read.
  explicit WeightData(std::string decimalSeparator);

  bool NoDataError() const { return noDataError_; }
  double TareWeightValue() const { return tare_.value; }
  double NetWeightValue() const { return net_.value; }
  double GrossWeightValue() const { return gross_.value; }
  bool InNetMode() const { return inNetMode_; }
  bool AtZero() const { return atZero_; }
  bool OutOfRange() const { return outOfRange_; }
  const std::string& Units() const { return units_; }
  bool Motion() const { return motion_; }
  const std::string& NetWeight() const { return net_.text; }
  const std::string& TareWeight() const { return tare_.text; }
  const std::string& GrossWeight() const { return gross_.text; }

  Event<> NewWeight;
  Event<> StatusChange;

  // Called only by the server's own protocols and scales.

  /// Text, and the value that it stands for. No event.
  void GrossWeight(std::string text);
  void TareWeight(std::string text);
  void NetWeight(std::string text);
  void GrossWeightValue(double value) { gross_.value = value; }
  void TareWeightValue(double value) { tare_.value = value; }
  void NetWeightValue(double value) { net_.value = value; }

  /// Each raises StatusChange when it changes something.
  void Units(std::string text);
  void Motion(bool value);
  void AtZero(bool value);
  void InNetMode(bool value);

  /// The commit of one reading. When true the gross and net texts become asterisks; the values and
  /// the tare stay, and AtZero follows the values, not the texts.
  void OutOfRange(bool value);
  /// How many readings have been committed.
  std::uint32_t Commits() const { return commits_; }
  const std::string& DecimalSeparator() const { return decimalSeparator_; }

  /// Stores the flag and, when true, replaces the reading by the no-data texts. Raises StatusChange
  /// and NewWeight every time, whether or not anything changed: a scale that falls silent reports
  /// so at each time-out.
  void NoDataError(bool value);

  /// Blank weights, out of range. NoDataError stays. Raises StatusChange and NewWeight every time.
  void ClearWeight();

  /// False for a protocol that delivers no weight: errors and blanks then show as "N/A".
  void WeightAvailable(bool available);

 private:
  struct Weight {
    std::string text;
    double value = 0;
  };

  void SetText(Weight& weight, std::string text);
  void SetFlag(bool& flag, bool value);
  void Blank(const std::string& text);

  std::string decimalSeparator_;
  Weight gross_;
  Weight tare_;
  Weight net_;
  std::string units_;
  bool motion_ = true;
  bool outOfRange_ = false;
  bool atZero_ = false;
  bool inNetMode_ = false;
  bool noDataError_ = false;
  std::uint32_t commits_ = 0;
  std::string noDataText_;
  std::string clearedText_;
};

}  // namespace tarn
