#include "shareddata/tag_messages.hpp"

#include <array>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"

namespace tarn {
namespace {

/// By the number of the type.
constexpr std::array<std::int16_t, 14> kWidths = {0, 1, 1, 1, 2, 4, 4, 4, 8, 1, 1, 1, 4, 13};

/// Every value that decodes is delivered at once; the first that does not ends the array.
template <class Get>
bool DeliverElements(KesMessage& message, const std::shared_ptr<SDTagInfo>& tag, _SummitData& data,
                     const std::function<bool()>& goesOn, Get get) {
  const std::int16_t available = tag->TagDataLen();
  const int count = available / ElementWidth(tag->TagType());
  for (std::int16_t i = 0; i < count && goesOn(); ++i) {
    const std::int32_t value = (message.*get)(i, available);
    if (!message.MessageOK()) return false;
    data.SetLongData(value, i, tag);
  }
  return message.MessageOK();
}

double UnsignedLong(KesMessage& message, std::int16_t available) {
  return static_cast<std::uint32_t>(message.GetLong(0, available));
}

/// Rounded as Automation rounds; error 6 beyond 32 bits without a sign.
void PutUnsignedLong(KesMessage& message, double value) {
  const double number = RoundHalfEven(value);
  if (!(number >= 0 && number <= std::numeric_limits<std::uint32_t>::max())) ThrowOverflow();
  message.PutLong(static_cast<std::int32_t>(static_cast<std::uint32_t>(number)));
}

}  // namespace

std::int16_t ElementWidth(SDTagType type) {
  const auto index = static_cast<std::size_t>(type);  // a negative number becomes a huge index
  return index < kWidths.size() ? kWidths[index] : std::int16_t{0};
}

void RequireVariableName(std::string_view name) {
  if (name.empty() || name.size() > 6) {
    throw AutomationError(ErrorNumber::InvalidPropertyValue,
                          "A variable name has 1 to 6 characters: " + std::string(name));
  }
}

bool IsReadSingly(SDTagType type) {
  return type == SDTagType::SDBitType ||
         (type >= SDTagType::SDByteType && type <= SDTagType::SDStringType);
}

void ConvertReadData(SDTagInfo& readTag, KesMessage& readMsg, ReadingRules rules) {
  const std::int16_t available = readTag.TagDataLen();
  switch (readTag.TagType()) {
    case SDTagType::SDBitType:
      return readTag.TagData(readMsg.GetBit(available));
    case SDTagType::SDByteType:
      return readTag.TagData(readMsg.GetByte(available));
    case SDTagType::SDUShortType:
      return readTag.TagData(readMsg.GetShort(0, available));
    case SDTagType::SDLongType:
      return readTag.TagData(readMsg.GetLong(0, available));
    case SDTagType::SDFloatType:
      return readTag.TagData(readMsg.GetFloat(0, available));
    case SDTagType::SDDoubleType:
      return readTag.TagData(readMsg.GetDouble(0, available));
    case SDTagType::SDULongType:
      if (rules == ReadingRules::Corrected)
        return readTag.TagData(UnsignedLong(readMsg, available));
      [[fallthrough]];
    case SDTagType::SDStringType:
      return readTag.TagData(readMsg.GetString(available, available));
    default:
      return;
  }
}

bool DeliverPolledData(KesMessage& message, const std::shared_ptr<SDTagInfo>& tag,
                       _SummitData& data, const std::function<bool()>& goesOn, ReadingRules rules) {
  const std::int16_t available = tag->TagDataLen();
  // Passes a value on unless the message could not give it.
  const auto deliver = [&](const auto& value, const auto& set) {
    if (message.MessageOK()) set(value);
    return message.MessageOK();
  };
  const auto deliverBytes = [&](const std::string& bytes) {
    return deliver(bytes, [&](const std::string& text) {
      std::vector<std::uint8_t> array(text.begin(), text.end());
      data.SetCharArrayData(array, available, tag);
    });
  };
  switch (tag->TagType()) {
    case SDTagType::SDBitType:
      return deliver(message.GetBit(available), [&](bool v) { data.SetBitData(v, tag); });
    case SDTagType::SDCharType:
    case SDTagType::SDByteType:
      return deliver(message.GetByte(available), [&](std::uint8_t v) { data.SetByteData(v, tag); });
    case SDTagType::SDUShortType:
      return deliver(message.GetShort(0, available),
                     [&](std::int16_t v) { data.SetIntData(v, 0, tag); });
    case SDTagType::SDLongType:
      return deliver(message.GetLong(0, available),
                     [&](std::int32_t v) { data.SetLongData(v, 0, tag); });
    case SDTagType::SDULongType:
      if (rules == ReadingRules::Published) return message.MessageOK();
      return deliver(UnsignedLong(message, available),
                     [&](double v) { data.SetDoubleData(v, 0, tag); });
    case SDTagType::SDFloatType:
      return deliver(message.GetFloat(0, available),
                     [&](float v) { data.SetFloatData(v, 0, tag); });
    case SDTagType::SDDoubleType:
      return deliver(message.GetDouble(0, available),
                     [&](double v) { data.SetDoubleData(v, 0, tag); });
    case SDTagType::SDStringType:
      return deliver(message.GetString(available, available),
                     [&](const std::string& v) { data.SetStringData(v, 0, tag); });
    case SDTagType::SDCharArrayType:
      return deliverBytes(message.GetCharArray(available, available));
    case SDTagType::SDByteArrayType:
      return deliverBytes(message.GetByteArray(available, available));
    case SDTagType::SDLongArrayType:
      return DeliverElements(message, tag, data, goesOn, &KesMessage::GetLong);
    case SDTagType::SDLongCharArrayType:
      return DeliverElements(message, tag, data, goesOn, &KesMessage::GetLongText);
    default:
      return message.MessageOK();
  }
}

bool PutTagValue(KesMessage& message, SDTagType type, const TagValue& value,
                 std::string_view decimalSeparator, ReadingRules rules) {
  switch (type) {
    case SDTagType::SDBitType:
      message.PutBit(ToBoolean(value, decimalSeparator));
      return true;
    case SDTagType::SDCharType:
    case SDTagType::SDByteType:
      message.PutByte(ToByte(value, decimalSeparator));
      return true;
    case SDTagType::SDUShortType:
      message.PutShort(ToInteger(value, decimalSeparator));
      return true;
    case SDTagType::SDLongType:
      message.PutLong(ToLong(value, decimalSeparator));
      return true;
    case SDTagType::SDFloatType:
      message.PutFloat(ToFloat(value, decimalSeparator));
      return true;
    case SDTagType::SDDoubleType:
      message.PutDouble(ToNumber(value, decimalSeparator));
      return true;
    case SDTagType::SDULongType:
      if (rules == ReadingRules::Corrected) {
        PutUnsignedLong(message, ToNumber(value, decimalSeparator));
        return true;
      }
      [[fallthrough]];
    case SDTagType::SDStringType:
      message.PutString(ToText(value, decimalSeparator));
      return true;
    default:
      return false;
  }
}

}  // namespace tarn
