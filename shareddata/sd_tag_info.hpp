// A tag: the description of one variable of a terminal, and its last value.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/event.hpp"
#include "base/persistable.hpp"
#include "shareddata/tag_value.hpp"

namespace tarn {

enum class SDTagType : std::int32_t {
  NoTagType = 0,
  SDBitType = 1,
  SDCharType = 2,
  SDByteType = 3,
  SDUShortType = 4,
  SDLongType = 5,
  SDULongType = 6,
  SDFloatType = 7,
  SDDoubleType = 8,
  SDStringType = 9,
  SDCharArrayType = 10,
  SDByteArrayType = 11,
  SDLongArrayType = 12,
  SDLongCharArrayType = 13,
};

enum class SDAccessStatus : std::int32_t {
  RW_SUCCESS = 0,
  INVALID_TAG = -1,
  READ_FAILURE = -2,
  WRITE_FAILURE = -3,
  WRITE_NOT_ALLOWED = -4,
  WRONG_DATA_TYPE = -5,
};

/// The settings persist where a configuration saves its tags; the value never does.
class SDTagInfo final : public Persistable {
 public:
  static constexpr std::string_view kClassName = "SDTagInfo";

  std::string_view ClassName() const override { return kClassName; }
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  /// A short key for clients.
  void EasyIndex(std::string key) { Set(easyIndex_, std::move(key), "EasyIndex"); }
  const std::string& EasyIndex() const { return easyIndex_; }
  /// Whether clients may write the variable.
  void Writable(bool writable) { Set(writable_, writable, "Writable"); }
  bool Writable() const { return writable_; }
  /// Whether the variable is read in every polling round; clients only read this.
  void Polled(bool polled) { Set(polled_, polled, "Polled"); }
  bool Polled() const { return polled_; }
  /// The last value.
  void TagData(TagValue value) { tagData_ = std::move(value); }
  const TagValue& TagData() const { return tagData_; }
  /// Data bytes of the variable.
  void TagDataLen(std::int16_t bytes) { Set(tagDataLen_, bytes, "TagDataLen"); }
  std::int16_t TagDataLen() const { return tagDataLen_; }
  void TagType(SDTagType type) { Set(tagType_, type, "TagType"); }
  SDTagType TagType() const { return tagType_; }
  /// The terminal's name of the variable, such as "ws108".
  void TagName(std::string name) { Set(tagName_, std::move(name), "TagName"); }
  const std::string& TagName() const { return tagName_; }
  /// Read only after the trigger variables have signalled new data.
  void TriggerRequired(bool required) { Set(triggerRequired_, required, "TriggerRequired"); }
  bool TriggerRequired() const { return triggerRequired_; }

  /// Declared for clients; deliberately never raised.
  Event<> NewData;

 private:
  template <class Value>
  void Set(Value& setting, Value value, std::string_view name) {
    setting = std::move(value);
    PropertyChanged.Raise(name);
  }

  std::string easyIndex_;
  bool writable_ = false;
  bool polled_ = false;
  TagValue tagData_;
  std::int16_t tagDataLen_ = 0;
  SDTagType tagType_ = SDTagType::NoTagType;
  std::string tagName_;
  bool triggerRequired_ = false;
};

}  // namespace tarn
