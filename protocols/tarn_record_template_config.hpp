// The layout of the records that a terminal prints, as clients set it and settings files keep it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/event.hpp"
#include "base/persistable.hpp"
#include "platform/user_locale.hpp"
#include "protocols/record_layout.hpp"
#include "scale/scale_site.hpp"
#include "scale/tarn_record_template_data.hpp"

namespace tarn {

/// Texts are UTF-8. Fields are numbered 1 to 20; any other number is error 9 and changes nothing.
/// Every setter marks its property as changed and then raises ConfigChanged, also when the value
/// stays the same.
class TarnRecordTemplateConfig final
    : public Persistable,
      public std::enable_shared_from_this<TarnRecordTemplateConfig> {
 public:
  static constexpr std::string_view kClassName = "TarnRecordTemplateConfig";
  static constexpr std::int16_t kMaxFieldNameLen = 8;
  using Fields = TarnRecordTemplateData::Fields;

  explicit TarnRecordTemplateConfig(ScaleSite& site);

  std::string_view ClassName() const override { return kClassName; }
  void InitProperties() override;
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  std::int16_t MaxNumFields() const { return TarnRecordTemplateData::kMaxNumFields; }
  /// What clients should keep to; FieldName neither cuts nor refuses a longer name.
  std::int16_t MaxFieldNameLen() const { return kMaxFieldNameLen; }

  /// Kept within 1 to 20.
  void NumFields(std::int16_t count);
  std::int16_t NumFields() const { return layout_.numFields; }
  void Delimiter(std::string text);
  const std::string& Delimiter() const { return delimiter_; }
  /// If empty, a record begins with the first character.
  void StartString(std::string text);
  const std::string& StartString() const { return startString_; }
  /// If empty, only its last delimiter completes a record.
  void Terminator(std::string text);
  const std::string& Terminator() const { return terminator_; }
  /// Milliseconds from the first character of a record to its end; 0, and any value below -99,
  /// waits for ever.
  void Timeout(std::int32_t milliseconds);
  std::int32_t Timeout() const { return timeout_; }
  const Fields& FieldNameArray() const { return names_; }
  void FieldName(std::int16_t nIndex, std::string name);
  const std::string& FieldName(std::int16_t nIndex) const;
  /// What the protocol sends to demand a record.
  void DemandOutput(std::string text);
  const std::string& DemandOutput() const { return demandOutput_; }

  Event<> ConfigChanged;

  /// CutRecord by this layout. Buffer and fields are bytes on the wire.
  std::int16_t ParseRecord(std::string& buffer, std::vector<std::string>& fields,
                           ReadingRules rules) const {
    return CutRecord(layout_, buffer, fields, rules);
  }

 private:
  std::optional<std::string> Bytes(const std::string& text) const;
  void RefreshLayout();
  void RaiseChanged(std::string_view property);

  UserLocale& locale_;
  std::string delimiter_;
  std::string startString_;
  std::string terminator_;
  std::int32_t timeout_ = 0;
  Fields names_;
  std::string demandOutput_;
  RecordLayout layout_;
};

}  // namespace tarn
