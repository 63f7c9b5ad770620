// UTF-8, code point by code point.
#pragma once

#include <string>
#include <string_view>

namespace tarn {

/// Takes the first code point off a text that is not empty. A byte that is no part of UTF-8 counts
/// as one code point, U+FFFD.
char32_t TakeCodePoint(std::string_view& text);

void AppendCodePoint(std::string& text, char32_t codePoint);

/// Lower case of the letters that single-byte code pages have: Latin with its accents, Greek,
/// Cyrillic. Other characters stay, and so do bytes that are no UTF-8.
std::string LowerCase(std::string_view text);

/// The text with "?" for every control character: an alias or a client's message may hold anything,
/// a terminal would take some of it as commands, and a line end would forge another line.
std::string Printable(std::string_view text);

}  // namespace tarn
