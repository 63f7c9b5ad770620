// One exchange with a terminal: a request that is built and a reply that is decoded.
//
//   offset  0    1    2-3   4-13    14-23   24   25   26   27-28  29-
//           char pri. type  source  dest.   cmd  sts  seq  length data
//           00   64   01 10 /w1/w0001       20: read, 10: write
//
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/user_locale.hpp"
#include "shareddata/message_layout.hpp"

namespace tarn {

/// Holds one request and one reply at a time. No operation throws: one that fails, or finds too few
/// bytes in the reply, sets the error flag and returns 0, false or an empty value. The flag stays
/// set until the next request is begun; loading a reply does not clear it.
///
/// Texts are UTF-8; on the wire they are bytes of the user's code page. "Available" is the number
/// of data bytes that the caller counts on, the length of its variable, not the length of the
/// reply.
class KesMessage {
 public:
  static constexpr std::string_view kClassName = "KesMessage";

  /// The locale must outlive the message.
  explicit KesMessage(const UserLocale& locale) : locale_(locale) {}

  std::int16_t HeaderLength() const { return static_cast<std::int16_t>(kMessageHeaderLength); }
  std::int16_t ReplyDataCapacity() const { return static_cast<std::int16_t>(reply_.data.size()); }
  bool MessageOK() const { return !ErrorFlag; }

  // The request.

  /// Begins a request; false, and an error flagged, for a name of more than 10 bytes. Deliberately
  /// a shorter name leaves the bytes behind it as the last one left them.
  bool InitReadRequest(std::string_view source, std::string_view destination,
                       std::uint8_t sequence);
  bool InitWriteRequest(std::string_view source, std::string_view destination,
                        std::uint8_t sequence);

  /// All 239 bytes, whatever the length of the data.
  std::string GetRequestBytes() const;
  std::uint8_t RequestSequence() const { return request_.hdr.sequenceNumber; }

  /// One value at the start of the data area, and its length into the header.
  void PutBit(bool value) { PutByte(value ? 1 : 0); }
  void PutByte(std::uint8_t value) { PutNumber(value); }
  void PutShort(std::int16_t value) { PutNumber(value); }
  void PutLong(std::int32_t value) { PutNumber(value); }
  void PutFloat(float value) { PutNumber(value); }
  void PutDouble(double value) { PutNumber(value); }
  /// At most 210 bytes, no 0 byte behind them.
  void PutString(std::string_view text);

  // The reply.

  /// Takes one reply from the start of the first `count` received bytes; the next one stands
  /// HeaderLength and the result further on. 0 for a reply without data, and with an error flagged
  /// for one that is cut short or has more data than fits.
  std::int16_t LoadReply(std::string_view received, std::int32_t count);

  std::uint8_t ReplySequence() const { return reply_.hdr.sequenceNumber; }
  std::string ReplySource() const { return locale_.FromBytes(FieldText(reply_.hdr.source)); }

  /// True only for the value 1.
  bool GetBit(std::int16_t available) { return GetByte(available) == 1; }
  std::uint8_t GetByte(std::int16_t available) { return GetNumber<std::uint8_t>(0, available); }
  /// The index counts elements of that width, from 0.
  std::int16_t GetShort(std::int16_t index, std::int16_t available) {
    return GetNumber<std::int16_t>(index, available);
  }
  std::int32_t GetLong(std::int16_t index, std::int16_t available) {
    return GetNumber<std::int32_t>(index, available);
  }
  float GetFloat(std::int16_t index, std::int16_t available) {
    return GetNumber<float>(index, available);
  }
  double GetDouble(std::int16_t index, std::int16_t available) {
    return GetNumber<double>(index, available);
  }
  /// The characters up to the first 0 byte, at most `count`.
  std::string GetString(std::int16_t count, std::int16_t available);
  /// `count` bytes: those up to the first 0 byte, the rest 0.
  std::string GetCharArray(std::int16_t count, std::int16_t available);
  /// `count` bytes as they stand.
  std::string GetByteArray(std::int16_t count, std::int16_t available);
  /// A decimal text field of 13 characters, which a 0 byte may end. Text that is no number is an
  /// error as well.
  std::int32_t GetLongText(std::int16_t index, std::int16_t available);

 private:
  static constexpr std::size_t kLongTextWidth = 13;

  bool InitRequest(std::uint8_t command, std::string_view source, std::string_view destination,
                   std::uint8_t sequence);
  template <class Number>
  void PutNumber(Number value);
  void SetLength(std::size_t length);
  /// The element of that width, empty and an error flagged where it is not wholly available.
  std::string_view Element(std::int16_t index, std::size_t width, std::int16_t available);
  template <class Number>
  Number GetNumber(std::int16_t index, std::int16_t available);
  bool CheckCount(std::int16_t count, std::int16_t available);
  bool TextLength(std::int16_t count, std::int16_t available, std::size_t& length);
  bool Fail();

  const UserLocale& locale_;
  RequestMessageStruct request_;
  ReplyMessageStruct reply_;
  bool ErrorFlag = false;
};

template <class Number>
void KesMessage::PutNumber(Number value) {
  const auto bytes = LittleEndian(value);
  std::copy(bytes.begin(), bytes.end(), request_.data.begin());
  SetLength(bytes.size());
}

template <class Number>
Number KesMessage::GetNumber(std::int16_t index, std::int16_t available) {
  const std::string_view bytes = Element(index, sizeof(Number), available);
  return bytes.empty() ? Number{0} : FromLittleEndian<Number>(bytes);
}

}  // namespace tarn
