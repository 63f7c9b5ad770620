#include "shareddata/kes_message.hpp"

#include <algorithm>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"

namespace tarn {
namespace {

/// Copies what fits; false when something is left.
template <std::size_t kSize>
bool CopyInto(std::array<char, kSize>& area, std::string_view bytes) {
  const std::string_view fitting = bytes.substr(0, kSize);
  std::copy(fitting.begin(), fitting.end(), area.begin());
  return fitting.size() == bytes.size();
}

}  // namespace

bool KesMessage::Fail() {
  ErrorFlag = true;
  return false;
}

bool KesMessage::InitReadRequest(std::string_view source, std::string_view destination,
                                 std::uint8_t sequence) {
  return InitRequest(kReadCommand, source, destination, sequence);
}

bool KesMessage::InitWriteRequest(std::string_view source, std::string_view destination,
                                  std::uint8_t sequence) {
  return InitRequest(kWriteCommand, source, destination, sequence);
}

bool KesMessage::InitRequest(std::uint8_t command, std::string_view source,
                             std::string_view destination, std::uint8_t sequence) {
  MessageHeaderStruct& header = request_.hdr;
  header.msgChar = 0;
  header.priority = kRequestPriority;
  header.msgType = LittleEndian(kRequestType);
  if (!CopyInto(header.source, locale_.ToBytes(source))) return Fail();
  if (!CopyInto(header.destination, locale_.ToBytes(destination))) return Fail();
  header.command = command;
  header.status = 0;
  header.sequenceNumber = sequence;
  SetLength(0);
  request_.data.fill(0);
  ErrorFlag = false;
  return true;
}

std::string KesMessage::GetRequestBytes() const {
  std::string bytes(sizeof(request_), '\0');
  std::memcpy(bytes.data(), &request_, sizeof(request_));
  return bytes;
}

void KesMessage::SetLength(std::size_t length) {
  request_.hdr.length = LittleEndian(static_cast<std::uint16_t>(length));
}

void KesMessage::PutString(std::string_view text) {
  const std::string bytes = locale_.ToBytes(text);
  if (CopyInto(request_.data, bytes))
    SetLength(bytes.size());
  else
    Fail();
}

std::int16_t KesMessage::LoadReply(std::string_view received, std::int32_t count) {
  if (received.size() < kMessageHeaderLength) {
    Fail();
    return 0;
  }
  reply_.hdr = HeaderOf(received);
  const std::uint16_t length = DataLength(reply_.hdr);
  if (static_cast<std::int64_t>(kMessageHeaderLength) + length > count) {
    Fail();
    return 0;
  }
  const std::string_view data = received.substr(kMessageHeaderLength, length);
  if (!CopyInto(reply_.data, data) || data.size() < length) {
    Fail();
    return 0;
  }
  return static_cast<std::int16_t>(length);
}

std::string_view KesMessage::Element(std::int16_t index, std::size_t width,
                                     std::int16_t available) {
  const auto within = static_cast<std::size_t>(
      std::clamp<std::int32_t>(available, 0, static_cast<std::int32_t>(reply_.data.size())));
  const std::size_t start = static_cast<std::size_t>(std::max<std::int16_t>(index, 0)) * width;
  if (index < 0 || start + width > within) {
    Fail();
    return {};
  }
  return {reply_.data.data() + start, width};
}

bool KesMessage::CheckCount(std::int16_t count, std::int16_t available) {
  return (count >= 0 && count <= available) || Fail();
}

/// How far a text of at most that many characters goes; false, and an error flagged, where it would
/// run out of the data area.
bool KesMessage::TextLength(std::int16_t count, std::int16_t available, std::size_t& length) {
  if (!CheckCount(count, available)) return false;
  length = std::min(FieldText(reply_.data).size(), static_cast<std::size_t>(count));
  const bool endsInside = length < reply_.data.size() || length == static_cast<std::size_t>(count);
  return endsInside || Fail();
}

std::string KesMessage::GetString(std::int16_t count, std::int16_t available) {
  std::size_t length = 0;
  if (!TextLength(count, available, length)) return {};
  return locale_.FromBytes({reply_.data.data(), length});
}

std::string KesMessage::GetCharArray(std::int16_t count, std::int16_t available) {
  std::size_t length = 0;
  if (!TextLength(count, available, length)) return {};
  std::string bytes(reply_.data.data(), length);
  bytes.resize(static_cast<std::size_t>(count));
  return bytes;
}

std::string KesMessage::GetByteArray(std::int16_t count, std::int16_t available) {
  if (!CheckCount(count, available)) return {};
  if (static_cast<std::size_t>(count) > reply_.data.size()) {
    Fail();
    return {};
  }
  return {reply_.data.data(), static_cast<std::size_t>(count)};
}

std::int32_t KesMessage::GetLongText(std::int16_t index, std::int16_t available) {
  const std::string_view field = Element(index, kLongTextWidth, available);
  if (field.empty()) return 0;
  const std::string_view text = field.substr(0, field.find('\0'));
  try {
    if (const auto number = LocaleNumber(text, locale_.DecimalSeparator())) {
      return RoundToLong(*number);
    }
  } catch (const AutomationError&) {  // beyond 32 bits
  }
  Fail();
  return 0;
}

}  // namespace tarn
