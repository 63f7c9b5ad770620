// The messages by which a terminal's shared-data variables are read and written: one header, then
// data. Every field is made of bytes, so that the records lie in memory as on the wire; numbers are
// little-endian.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/little_endian.hpp"

namespace tarn {

using UDT_Byte2 = std::array<char, 2>;

struct MessageHeaderStruct {
  std::uint8_t msgChar = 0;
  std::uint8_t priority = 0;
  UDT_Byte2 msgType{};
  std::array<char, 10> source{};       ///< the sender, padded with 0 bytes
  std::array<char, 10> destination{};  ///< node text, "/" and name of the variable, padded likewise
  std::uint8_t command = 0;
  std::uint8_t status = 0;
  std::uint8_t sequenceNumber = 0;  ///< chosen by the asker, echoed by the terminal
  UDT_Byte2 length{};               ///< meaningful bytes of the data area
};

struct RequestMessageStruct {
  MessageHeaderStruct hdr;
  std::array<char, 210> data{};
};

struct ReplyMessageStruct {
  MessageHeaderStruct hdr;
  std::array<char, 1400> data{};
};

inline constexpr std::size_t kMessageHeaderLength = 29;
static_assert(sizeof(MessageHeaderStruct) == kMessageHeaderLength);
static_assert(offsetof(MessageHeaderStruct, destination) == 14);
static_assert(offsetof(MessageHeaderStruct, command) == 24);
static_assert(offsetof(MessageHeaderStruct, length) == 27);
static_assert(sizeof(RequestMessageStruct) == 239);
static_assert(sizeof(ReplyMessageStruct) == 1429);

inline constexpr std::uint8_t kRequestPriority = 100;
inline constexpr std::uint16_t kRequestType = 0x1001;
inline constexpr std::uint8_t kReadCommand = 0x20;
inline constexpr std::uint8_t kWriteCommand = 0x10;

/// What the server calls itself in the source of its requests.
inline constexpr std::string_view kServerName = "/w1/w0001";

/// The bytes of a field up to its first 0 byte.
template <std::size_t kSize>
std::string_view FieldText(const std::array<char, kSize>& field) {
  const std::string_view all(field.data(), field.size());
  return all.substr(0, all.find('\0'));
}

inline std::uint16_t DataLength(const MessageHeaderStruct& header) {
  return FromLittleEndian<std::uint16_t>({header.length.data(), header.length.size()});
}

/// The header at the start of a message of at least kMessageHeaderLength bytes.
inline MessageHeaderStruct HeaderOf(std::string_view message) {
  MessageHeaderStruct header;
  std::memcpy(&header, message.data(), sizeof(header));
  return header;
}

}  // namespace tarn
