// Which dialect a stream of bytes is, and which line settings it was sent with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "scale/enumerations.hpp"

namespace tarn {

/// What was found in the bytes of a while.
struct Recognized {
  ProtocolType type = ProtocolType::NoProtType;
  std::size_t frames = 0;
  std::size_t bytes = 0;  ///< of these frames; what lies between them belongs to nothing

  bool IsBetterThan(const Recognized& other) const {
    return bytes > other.bytes || (bytes == other.bytes && frames > other.frames);
  }
};

/// The dialect with the most bytes in whole frames whose weights are numbers; NoProtType where no
/// frame was found. The continuous layouts beyond the two lengths look alike: the first stands for
/// all. Command/response scales are recognized by their answers.
Recognized Recognize(std::string_view bytes);

/// What the eighth bit of all bytes is, in a stream that was read with eight bits and no parity.
enum class EighthBit : std::uint8_t {
  Clear,  ///< eight bits without parity, or seven with space
  Even,   ///< seven bits with even parity
  Odd,
  Set,    ///< seven bits with mark, or with a second stop bit
  Mixed,  ///< no text: another speed, or noise
};
EighthBit EighthBitOf(std::string_view bytes);
std::string WithoutEighthBit(std::string_view bytes);
/// Text as a sender with seven bits and this parity sends it; Clear, Even and Odd only.
std::string WithEighthBit(std::string_view text, EighthBit bit);

}  // namespace tarn
