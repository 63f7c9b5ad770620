// Numbers as bytes, the lowest byte first, whatever the order of the machine.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

namespace tarn {

/// The bytes of a whole number, of a float or of a double.
template <class Number>
std::array<char, sizeof(Number)> LittleEndian(Number value) {
  std::uint64_t bits = 0;
  if constexpr (std::is_same_v<Number, float>)
    bits = std::bit_cast<std::uint32_t>(value);
  else if constexpr (std::is_same_v<Number, double>)
    bits = std::bit_cast<std::uint64_t>(value);
  else
    bits = static_cast<std::uint64_t>(value);
  std::array<char, sizeof(Number)> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(bits >> (8 * i));
  return bytes;
}

/// The number at the start of the bytes; there must be enough of them.
template <class Number>
Number FromLittleEndian(std::string_view bytes) {
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < sizeof(Number); ++i) {
    bits |= static_cast<std::uint64_t>(static_cast<std::uint8_t>(bytes[i])) << (8 * i);
  }
  if constexpr (std::is_same_v<Number, float>)
    return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
  else if constexpr (std::is_same_v<Number, double>)
    return std::bit_cast<double>(bits);
  else
    return static_cast<Number>(bits);
}

}  // namespace tarn
