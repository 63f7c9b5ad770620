// The layout of the records that a terminal prints, and the knife that cuts one record out of what
// was received.
//
//   xx#A17,12.50,kg<CR><LF>#A18,...      StartString "#", Delimiter ",", Terminator CR LF
//     ^    ^     ^ ^       ^
//     |    fields| |       the next record
//     |          | ends the last field
//     start; what stands in front of it is dropped with the record
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/event.hpp"
#include "base/persistable.hpp"
#include "platform/user_locale.hpp"
#include "scale/scale_site.hpp"
#include "scale/tarn_record_template_data.hpp"

namespace tarn {

/// The part of a template that cutting needs, as bytes on the wire. A text that the code page
/// cannot express is none, and is never found.
struct RecordLayout {
  std::int16_t numFields = TarnRecordTemplateData::kMaxNumFields;
  std::optional<std::string> startString;
  std::optional<std::string> delimiter;
  std::optional<std::string> terminator;
};

/// Cuts the first complete record out of the buffer and returns the number of its fields; 0, and
/// nothing is touched, while it is not complete.
///
/// A record is complete with the delimiter behind its last field or, with fewer fields too, with
/// the terminator. Three things are deliberate:
///   - A terminator behind a record that ended with a delimiter stays in the buffer and begins the
///     next record.
///   - The delimiter is looked for through the whole buffer first, the terminator only where there
///     is no delimiter any more: a short record is joined with the one that waits behind it.
///   - An empty delimiter is found everywhere: all fields are empty and nothing of them is
///   consumed.
std::int16_t CutRecord(const RecordLayout& layout, std::string& buffer,
                       std::vector<std::string>& fields);

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
  /// Empty: a record begins with the first character.
  void StartString(std::string text);
  const std::string& StartString() const { return startString_; }
  /// Empty: a record is complete with its last delimiter only.
  void Terminator(std::string text);
  const std::string& Terminator() const { return terminator_; }
  /// Milliseconds from the first character of a record to its end; 0 waits for ever,
  /// and so does what is less than -99.
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
  std::int16_t ParseRecord(std::string& buffer, std::vector<std::string>& fields) const {
    return CutRecord(layout_, buffer, fields);
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
