// The data exchange with the BASIC program of a terminal.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "scale/scale_site.hpp"
#include "shareddata/polled_values.hpp"
#include "shareddata/sd_tag_info.hpp"
#include "shareddata/tag_access.hpp"
#include "shareddata/terminal_data.hpp"

namespace tarn {

/// Clients know every variable by the easy index under which the configuration declares it. What
/// every round reads stands in the tags and, by kind, in numbered arrays.
class TarnKesBasicData final : public TerminalData, public TagAccessUser {
 public:
  static constexpr std::string_view kClassName = "TarnKesBasicData";

  explicit TarnKesBasicData(ScaleSite& site);
  std::string_view ClassName() const override { return kClassName; }

  // Published members, in the order of the interface.

  /// The last value of the variable "KBStatus"; nothing when there is none.
  TagValue KBStatus() const;
  /// Writes the variable "KBCommand".
  SDAccessStatus KBCommand(const TagValue& Command);

  /// Reads one variable now, waiting in the message loop; the value stays as it was unless the
  /// result is RW_SUCCESS. INVALID_TAG: not declared. WRONG_DATA_TYPE: arrays and characters are
  /// read by polling only; also a tag that was made too short for its type. READ_FAILURE: no
  /// answer, no data, not running, or another read waits.
  SDAccessStatus SDRead(const std::string& EasyIndex, TagValue& Value);
  /// INVALID_TAG: not declared. WRITE_NOT_ALLOWED: not declared as writable. WRONG_DATA_TYPE: the
  /// value is not of the variable's type, or an array's. WRITE_FAILURE: not sent.
  SDAccessStatus SDWrite(const std::string& EasyIndex, const TagValue& Value);

  /// The polled values of a kind in the order of declaring, an array's elements one after the
  /// other; numbers from 1, any other is error 9. A character array is one text.
  bool BitValue(std::int16_t nIndex) const { return Values<bool>().At(nIndex); }
  const std::vector<bool>& BitValueArray() const { return Values<bool>().All(); }
  std::uint8_t ByteValue(std::int16_t nIndex) const { return Values<std::uint8_t>().At(nIndex); }
  const std::vector<std::uint8_t>& ByteValueArray() const { return Values<std::uint8_t>().All(); }
  std::int16_t IntValue(std::int16_t nIndex) const { return Values<std::int16_t>().At(nIndex); }
  const std::vector<std::int16_t>& IntValueArray() const { return Values<std::int16_t>().All(); }
  std::int32_t LongValue(std::int16_t nIndex) const { return Values<std::int32_t>().At(nIndex); }
  const std::vector<std::int32_t>& LongValueArray() const { return Values<std::int32_t>().All(); }
  float FloatValue(std::int16_t nIndex) const { return Values<float>().At(nIndex); }
  const std::vector<float>& FloatValueArray() const { return Values<float>().All(); }
  double DoubleValue(std::int16_t nIndex) const { return Values<double>().At(nIndex); }
  const std::vector<double>& DoubleValueArray() const { return Values<double>().All(); }
  std::string StringValue(std::int16_t nIndex) const { return Values<std::string>().At(nIndex); }
  const std::vector<std::string>& StringValueArray() const { return Values<std::string>().All(); }

  /// Raised after a round with the easy index of every polled variable whose value changed, before
  /// NewDataReady.
  Event<const std::string&> KBEvent;

  // What the engine calls.

  void Access(const std::weak_ptr<TagAccess>& access) override { access_ = access; }
  void ConfigurationChanged() override;
  void DataUpdated() override;
  void SetBitData(bool TagData, const TagInfo& myTagInfo) override;
  void SetByteData(std::uint8_t TagData, const TagInfo& myTagInfo) override;
  void SetCharArrayData(std::vector<std::uint8_t>& TagData, std::int16_t dataLen,
                        const TagInfo& myTagInfo) override;
  void SetLongData(std::int32_t TagData, std::int16_t dataIndex, const TagInfo& myTagInfo) override;
  void SetFloatData(float TagData, std::int16_t dataIndex, const TagInfo& myTagInfo) override;
  void SetDoubleData(double TagData, std::int16_t dataIndex, const TagInfo& myTagInfo) override;
  void SetStringData(const std::string& TagData, std::int16_t dataIndex,
                     const TagInfo& myTagInfo) override;
  void SetIntData(std::int16_t TagData, std::int16_t dataIndex, const TagInfo& myTagInfo) override;

 private:
  void Clear() override;
  template <class Value>
  const PolledValues<Value>& Values() const {
    return std::get<PolledValues<Value>>(values_);
  }
  template <class Value>
  void File(const Value& value, std::int16_t element, const TagInfo& tag);
  void NoteChange(const std::string& easyIndex);

  const UserLocale& locale_;
  std::weak_ptr<TagAccess> access_;
  std::tuple<PolledValues<bool>, PolledValues<std::uint8_t>, PolledValues<std::int16_t>,
             PolledValues<std::int32_t>, PolledValues<float>, PolledValues<double>,
             PolledValues<std::string>>
      values_;
  std::vector<std::string> changed_;
};

}  // namespace tarn
