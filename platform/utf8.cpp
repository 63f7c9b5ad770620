#include "platform/utf8.hpp"

#include <cstddef>

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

std::string Printable(std::string_view text) {
  std::string printable;
  while (!text.empty()) {
    const char32_t codePoint = TakeCodePoint(text);
    AppendCodePoint(printable, IsControl(codePoint) ? U'?' : codePoint);
  }
  return printable;
}

}  // namespace tarn
