// The fields of the latest demand record, by number and name.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "base/event.hpp"
#include "scale/data_object.hpp"

namespace tarn {

/// Fields are numbered 1 to 20; any other number is error 9 and changes nothing. Clients only read;
/// the template protocols write through the members of the second half.
class TarnRecordTemplateData final : public DataObject {
 public:
  static constexpr std::int16_t kMaxNumFields = 20;
  using Fields = std::array<std::string, kMaxNumFields>;

  TarnRecordTemplateData();

  /// Empties all values and raises NewDataReady.
  void ClearRecord();
  std::int16_t MaxNumFields() const { return kMaxNumFields; }
  const Fields& FieldDataArray() const { return data_; }
  const std::string& FieldData(std::int16_t nIndex) const;
  const Fields& FieldNameArray() const { return names_; }
  const std::string& FieldName(std::int16_t nIndex) const;
  std::int16_t NumFields() const { return numFields_; }
  bool NoDataError() const { return noDataError_; }

  Event<> ConfigChanged;
  Event<> NewDataReady;
  Event<> TimeoutError;

  void SetFieldData(std::int16_t nIndex, std::string text);
  void SetFieldName(std::int16_t nIndex, std::string text);
  void SetNumFields(std::int16_t count) { numFields_ = count; }
  /// When true, also empties all values and raises NewDataReady.
  void SetNoDataError(bool flag);
  void RaiseNewDataReady() { NewDataReady.Raise(); }
  void RaiseConfigChanged() { ConfigChanged.Raise(); }
  /// All values become "Error"; raises NewDataReady, then TimeoutError.
  void SetTimeoutError();
  void ClearFields();

 private:
  std::int16_t numFields_ = kMaxNumFields;
  Fields names_;
  Fields data_;
  bool noDataError_ = false;
};

}  // namespace tarn
