#include "scale/weight_data.hpp"

#include <utility>

#include "base/number_text.hpp"

namespace tarn {

WeightData::WeightData(std::string decimalSeparator)
    : decimalSeparator_(std::move(decimalSeparator)) {
  WeightAvailable(true);
}

void WeightData::SetText(Weight& weight, std::string text) {
  weight.text = std::move(text);
  weight.value = LocaleNumber(weight.text, decimalSeparator_).value_or(0);
}

void WeightData::GrossWeight(std::string text) {
  SetText(gross_, std::move(text));
}
void WeightData::TareWeight(std::string text) {
  SetText(tare_, std::move(text));
}
void WeightData::NetWeight(std::string text) {
  SetText(net_, std::move(text));
}

void WeightData::Units(std::string text) {
  if (text == units_) return;
  units_ = std::move(text);
  StatusChange.Raise();
}

void WeightData::SetFlag(bool& flag, bool value) {
  if (flag == value) return;
  flag = value;
  StatusChange.Raise();
}

void WeightData::Motion(bool value) {
  SetFlag(motion_, value);
}
void WeightData::AtZero(bool value) {
  SetFlag(atZero_, value);
}
void WeightData::InNetMode(bool value) {
  SetFlag(inNetMode_, value);
}

void WeightData::OutOfRange(bool value) {
  if (value) {
    gross_.text = kNoWeightText;
    net_.text = kNoWeightText;
  }
  SetFlag(outOfRange_, value);
  InNetMode(tare_.value != 0);
  AtZero(net_.value == 0);
  ++commits_;
  NewWeight.Raise();
}

void WeightData::Blank(const std::string& text) {
  gross_ = tare_ = net_ = Weight{text, 0};
  outOfRange_ = true;
  atZero_ = inNetMode_ = motion_ = false;
}

void WeightData::NoDataError(bool value) {
  noDataError_ = value;
  if (value) Blank(noDataText_);
  StatusChange.Raise();
  NewWeight.Raise();
}

void WeightData::ClearWeight() {
  Blank(clearedText_);
  units_.clear();
  StatusChange.Raise();
  NewWeight.Raise();
}

void WeightData::WeightAvailable(bool available) {
  noDataText_ = available ? kNoDataText : "N/A";
  clearedText_ = available ? "" : "N/A";
}

}  // namespace tarn
