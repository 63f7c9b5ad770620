#include "shareddata/tarn_kes_basic_data.hpp"

#include <algorithm>
#include <utility>

#include "shareddata/tag_messages.hpp"
#include "shareddata/tarn_kes_basic_config.hpp"

namespace tarn {
namespace {

TerminalData::TagInfo TagOf(const TagAccess& access, const std::string& easyIndex) {
  const auto configuration = access.Configuration();
  return configuration ? configuration->GetTagInfoByKey(easyIndex) : nullptr;
}

}  // namespace

TarnKesBasicData::TarnKesBasicData(ScaleSite& site) : locale_(site.System().Locale()) {}

// --- Single variables -------------------------------------------------------------------------

TagValue TarnKesBasicData::KBStatus() const {
  const auto access = access_.lock();
  const TagInfo tag = access ? TagOf(*access, TarnKesBasicConfig::kStatus) : nullptr;
  return tag ? tag->TagData() : TagValue{};
}

SDAccessStatus TarnKesBasicData::KBCommand(const TagValue& Command) {
  return SDWrite(TarnKesBasicConfig::kCommand, Command);
}

SDAccessStatus TarnKesBasicData::SDRead(const std::string& EasyIndex, TagValue& Value) {
  const auto access = access_.lock();
  if (!access) return SDAccessStatus::READ_FAILURE;
  const TagInfo tag = TagOf(*access, EasyIndex);
  if (!tag) return SDAccessStatus::INVALID_TAG;
  // A client may have made the tag too short for its type; the result would be an invented 0.
  if (!IsReadSingly(tag->TagType()) || tag->TagDataLen() < ElementWidth(tag->TagType())) {
    return SDAccessStatus::WRONG_DATA_TYPE;
  }
  // Reads into a separate tag, so that the value that clients see changes only on success.
  const auto read = std::make_shared<SDTagInfo>();
  read->TagName(tag->TagName());
  read->TagType(tag->TagType());
  read->TagDataLen(tag->TagDataLen());
  const SDAccessStatus status = access->ReadTag(read);
  if (status != SDAccessStatus::RW_SUCCESS) return status;
  if (IsEmpty(read->TagData())) return SDAccessStatus::READ_FAILURE;
  tag->TagData(read->TagData());
  Value = read->TagData();
  return status;
}

SDAccessStatus TarnKesBasicData::SDWrite(const std::string& EasyIndex, const TagValue& Value) {
  const auto access = access_.lock();
  if (!access) return SDAccessStatus::WRITE_FAILURE;
  const TagInfo tag = TagOf(*access, EasyIndex);
  if (!tag) return SDAccessStatus::INVALID_TAG;
  if (!tag->Writable()) return SDAccessStatus::WRITE_NOT_ALLOWED;
  return access->WriteTag(tag, Value);
}

// --- Polled values ----------------------------------------------------------------------------

void TarnKesBasicData::Clear() {
  std::apply([](auto&... values) { (values.Clear(), ...); }, values_);
  changed_.clear();
}

/// Other variables, other numbers.
void TarnKesBasicData::ConfigurationChanged() {
  std::apply([](auto&... values) { (values.Forget(), ...); }, values_);
  changed_.clear();
  TerminalData::ConfigurationChanged();
}

void TarnKesBasicData::DataUpdated() {
  for (const std::string& easyIndex : std::exchange(changed_, {})) KBEvent.Raise(easyIndex);
  TerminalData::DataUpdated();
}

void TarnKesBasicData::NoteChange(const std::string& easyIndex) {
  if (std::find(changed_.begin(), changed_.end(), easyIndex) == changed_.end()) {
    changed_.push_back(easyIndex);
  }
}

template <class Value>
void TarnKesBasicData::File(const Value& value, std::int16_t element, const TagInfo& tag) {
  const std::string& easyIndex = Required(tag).EasyIndex();
  if (std::get<PolledValues<Value>>(values_).File(easyIndex, element, value)) NoteChange(easyIndex);
}

void TarnKesBasicData::SetBitData(bool TagData, const TagInfo& myTagInfo) {
  File(TagData, 0, myTagInfo);
  myTagInfo->TagData(TagData);
}

void TarnKesBasicData::SetByteData(std::uint8_t TagData, const TagInfo& myTagInfo) {
  File(TagData, 0, myTagInfo);
  myTagInfo->TagData(TagData);
}

void TarnKesBasicData::SetCharArrayData(std::vector<std::uint8_t>& TagData, std::int16_t dataLen,
                                        const TagInfo& myTagInfo) {
  const auto length = static_cast<std::size_t>(std::max<std::int16_t>(dataLen, 0));
  if (length > TagData.size()) ThrowSubscriptOutOfRange();
  const std::vector<std::uint8_t> bytes(TagData.begin(),
                                        TagData.begin() + static_cast<std::ptrdiff_t>(length));
  if (Required(myTagInfo).TagType() == SDTagType::SDCharArrayType) {
    const auto end = std::find(bytes.begin(), bytes.end(), std::uint8_t{0});
    SetStringData(locale_.FromBytes(std::string(bytes.begin(), end)), 0, myTagInfo);
    return;
  }
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    File(bytes[i], static_cast<std::int16_t>(i), myTagInfo);
  }
  myTagInfo->TagData(bytes);
}

/// The tag keeps the value of a single long only: no kind of tag value is an array of longs.
void TarnKesBasicData::SetLongData(std::int32_t TagData, std::int16_t dataIndex,
                                   const TagInfo& myTagInfo) {
  File(TagData, dataIndex, myTagInfo);
  if (myTagInfo->TagType() == SDTagType::SDLongType) myTagInfo->TagData(TagData);
}

void TarnKesBasicData::SetFloatData(float TagData, std::int16_t dataIndex,
                                    const TagInfo& myTagInfo) {
  File(TagData, dataIndex, myTagInfo);
  myTagInfo->TagData(TagData);
}

void TarnKesBasicData::SetDoubleData(double TagData, std::int16_t dataIndex,
                                     const TagInfo& myTagInfo) {
  File(TagData, dataIndex, myTagInfo);
  myTagInfo->TagData(TagData);
}

void TarnKesBasicData::SetStringData(const std::string& TagData, std::int16_t dataIndex,
                                     const TagInfo& myTagInfo) {
  File(TagData, dataIndex, myTagInfo);
  myTagInfo->TagData(TagData);
}

void TarnKesBasicData::SetIntData(std::int16_t TagData, std::int16_t dataIndex,
                                  const TagInfo& myTagInfo) {
  File(TagData, dataIndex, myTagInfo);
  myTagInfo->TagData(TagData);
}

}  // namespace tarn
