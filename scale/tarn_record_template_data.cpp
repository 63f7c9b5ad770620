#include "scale/tarn_record_template_data.hpp"

#include <cstddef>
#include <utility>

#include "base/automation_error.hpp"

namespace tarn {
namespace {

std::size_t Position(std::int16_t index) {
  if (index < 1 || index > TarnRecordTemplateData::kMaxNumFields) ThrowSubscriptOutOfRange();
  return static_cast<std::size_t>(index - 1);
}

}  // namespace

TarnRecordTemplateData::TarnRecordTemplateData() {
  names_.fill("None");
}

void TarnRecordTemplateData::ClearRecord() {
  ClearFields();
  NewDataReady.Raise();
}

const std::string& TarnRecordTemplateData::FieldData(std::int16_t nIndex) const {
  return data_[Position(nIndex)];
}
const std::string& TarnRecordTemplateData::FieldName(std::int16_t nIndex) const {
  return names_[Position(nIndex)];
}
void TarnRecordTemplateData::SetFieldData(std::int16_t nIndex, std::string text) {
  data_[Position(nIndex)] = std::move(text);
}
void TarnRecordTemplateData::SetFieldName(std::int16_t nIndex, std::string text) {
  names_[Position(nIndex)] = std::move(text);
}

void TarnRecordTemplateData::SetNoDataError(bool flag) {
  noDataError_ = flag;
  if (!flag) return;
  ClearFields();
  NewDataReady.Raise();
}

void TarnRecordTemplateData::SetTimeoutError() {
  data_.fill("Error");
  NewDataReady.Raise();
  TimeoutError.Raise();
}

void TarnRecordTemplateData::ClearFields() {
  data_.fill({});
}

}  // namespace tarn
