#include "platform/utf8.hpp"

#include <cstddef>
#include <cstdint>

namespace tarn {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

struct Lead {
  std::size_t length;  ///< bytes of the whole sequence, 0 for a byte that begins none
  char32_t bits;       ///< what the first byte carries
  char32_t least;      ///< the smallest code point that needs this length
};

Lead ReadLead(unsigned char byte) {
  if (byte < 0x80) return {1, byte, 0};
  if (byte >= 0xC0 && byte < 0xE0) return {2, byte & 0x1FU, 0x80};
  if (byte >= 0xE0 && byte < 0xF0) return {3, byte & 0x0FU, 0x800};
  if (byte >= 0xF0 && byte < 0xF8) return {4, byte & 0x07U, 0x10000};
  return {0, 0, 0};
}

/// Capitals and how far their small letters are from them. With a step of 2 each capital has its
/// small letter as its neighbour.
struct Capitals {
  char32_t first;
  char32_t last;
  std::uint32_t step;
  std::int32_t distance;
};
constexpr Capitals kCapitals[] = {
    {U'A', U'Z', 1, 32},       {0x00C0, 0x00D6, 1, 32},   {0x00D8, 0x00DE, 1, 32},
    {0x0100, 0x012E, 2, 1},    {0x0130, 0x0130, 1, -199},  // I with a dot
    {0x0132, 0x0136, 2, 1},    {0x0139, 0x0147, 2, 1},    {0x014A, 0x0176, 2, 1},
    {0x0178, 0x0178, 1, -121},  // Y with two dots
    {0x0179, 0x017D, 2, 1},    {0x01A0, 0x01A0, 1, 1},    {0x01AF, 0x01AF, 1, 1},
    {0x0218, 0x021A, 2, 1},    {0x0386, 0x0386, 1, 38},   {0x0388, 0x038A, 1, 37},
    {0x038C, 0x038C, 1, 64},   {0x038E, 0x038F, 1, 63},   {0x0391, 0x03A1, 1, 32},
    {0x03A3, 0x03AB, 1, 32},   {0x0400, 0x040F, 1, 80},   {0x0410, 0x042F, 1, 32},
    {0x0490, 0x0490, 1, 1},
};

char32_t SmallLetter(char32_t codePoint) {
  for (const Capitals& range : kCapitals) {
    if (codePoint < range.first || codePoint > range.last) continue;
    if ((codePoint - range.first) % range.step != 0) return codePoint;
    return static_cast<char32_t>(static_cast<std::int32_t>(codePoint) + range.distance);
  }
  return codePoint;
}

bool IsControl(char32_t codePoint) {
  return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0);
}

bool IsSurrogate(char32_t codePoint) {
  return codePoint >= 0xD800 && codePoint < 0xE000;
}

}  // namespace

char32_t TakeCodePoint(std::string_view& text) {
  const Lead lead = ReadLead(static_cast<unsigned char>(text.front()));
  char32_t codePoint = lead.bits;
  bool valid = lead.length > 0 && lead.length <= text.size();
  for (std::size_t i = 1; valid && i < lead.length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    valid = (byte & 0xC0U) == 0x80;
    codePoint = codePoint << 6U | (byte & 0x3FU);
  }
  valid = valid && codePoint >= lead.least && codePoint <= 0x10FFFF && !IsSurrogate(codePoint);
  text.remove_prefix(valid ? lead.length : 1);
  return valid ? codePoint : kReplacement;
}

void AppendCodePoint(std::string& text, char32_t codePoint) {
  const auto append = [&text](char32_t byte) { text += static_cast<char>(byte); };
  const auto appendRest = [&](int bytes) {
    while (bytes-- > 0) append(0x80U | (codePoint >> (6U * static_cast<unsigned>(bytes)) & 0x3FU));
  };
  if (codePoint < 0x80) {
    append(codePoint);
  } else if (codePoint < 0x800) {
    append(0xC0U | codePoint >> 6U);
    appendRest(1);
  } else if (codePoint < 0x10000) {
    append(0xE0U | codePoint >> 12U);
    appendRest(2);
  } else {
    append(0xF0U | codePoint >> 18U);
    appendRest(3);
  }
}

std::string LowerCase(std::string_view text) {
  std::string lower;
  while (!text.empty()) {
    const std::string_view before = text;
    const char32_t codePoint = TakeCodePoint(text);
    const char32_t small = SmallLetter(codePoint);
    if (small == codePoint)
      lower += before.substr(0, before.size() - text.size());
    else
      AppendCodePoint(lower, small);
  }
  return lower;
}

std::string Printable(std::string_view text) {
  std::string printable;
  while (!text.empty()) {
    const char32_t codePoint = TakeCodePoint(text);
    AppendCodePoint(printable, IsControl(codePoint) ? U'?' : codePoint);
  }
  return printable;
}

}  // namespace tarn
