// Messages of shared-data terminals as the tests write them down.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "shareddata/message_layout.hpp"

namespace tarn {

/// Bytes from pairs of hexadecimal digits; blanks do not count.
inline std::string Hex(std::string_view digits) {
  std::string bytes;
  std::string pair;
  for (const char digit : digits) {
    if (digit == ' ') continue;
    pair.push_back(digit);
    if (pair.size() < 2) continue;
    bytes.push_back(static_cast<char>(std::stoi(pair, nullptr, 16)));
    pair.clear();
  }
  return bytes;
}

/// A terminal's reply; its length field says what the data have.
inline std::string Reply(std::string_view source, std::string_view data,
                         std::uint8_t sequence = 1) {
  std::string reply(kMessageHeaderLength, '\0');
  reply.replace(4, source.size(), source);
  reply.replace(14, kServerName.size(), kServerName);
  reply[26] = static_cast<char>(sequence);
  reply[27] = static_cast<char>(data.size() & 0xFF);
  reply[28] = static_cast<char>(data.size() >> 8);
  return reply.append(data);
}

}  // namespace tarn
