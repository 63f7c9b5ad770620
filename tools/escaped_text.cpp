#include "tools/escaped_text.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/utf8.hpp"

namespace tarn {
namespace {

constexpr std::array<std::pair<char, char>, 5> kEscapes = {
    {{'r', '\r'}, {'n', '\n'}, {'t', '\t'}, {'b', '\b'}, {'\\', '\\'}}};

std::optional<char32_t> HexDigit(char c) {
  constexpr std::string_view kDigits = "0123456789abcdef0123456789ABCDEF";
  const auto position = kDigits.find(c);
  if (position == std::string_view::npos) return std::nullopt;
  return static_cast<char32_t>(position % 16);
}

/// Removes the escape after a backslash from the text and returns its character.
std::optional<char32_t> TakeEscape(std::string_view& text) {
  if (text.empty()) return std::nullopt;
  for (const auto& [letter, character] : kEscapes) {
    if (text.front() != letter) continue;
    text.remove_prefix(1);
    return static_cast<char32_t>(character);
  }
  if (text.size() < 3 || text.front() != 'x') return std::nullopt;
  const auto high = HexDigit(text[1]);
  const auto low = HexDigit(text[2]);
  if (!high || !low) return std::nullopt;
  text.remove_prefix(3);
  return *high * 16 + *low;
}

std::string EscapeOf(char32_t control) {
  for (const auto& [letter, character] : kEscapes) {
    if (control == static_cast<char32_t>(character)) return {'\\', letter};
  }
  constexpr std::string_view kHex = "0123456789ABCDEF";
  return {'\\', 'x', kHex[control >> 4U], kHex[control & 0xFU]};
}

}  // namespace

std::optional<std::string> FromEscapes(std::string_view text) {
  std::string plain;
  while (!text.empty()) {
    std::optional<char32_t> character = TakeCodePoint(text);
    if (character == U'\\') character = TakeEscape(text);
    if (!character) return std::nullopt;
    AppendCodePoint(plain, *character);
  }
  return plain;
}

std::string ToEscapes(std::string_view text) {
  std::string escaped;
  while (!text.empty()) {
    const char32_t character = TakeCodePoint(text);
    const bool plain = character >= 0x20 && (character < 0x7F || character >= 0xA0);
    if (plain && character != U'\\')
      AppendCodePoint(escaped, character);
    else
      escaped += EscapeOf(character);
  }
  return escaped;
}

}  // namespace tarn
