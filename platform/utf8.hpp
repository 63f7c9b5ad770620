// UTF-8, code point by code point.
#pragma once

#include <string>
#include <string_view>

namespace tarn {

/// Takes the first code point off a text that is not empty. A byte that is no part of UTF-8 counts
/// as one code point, U+FFFD.
char32_t TakeCodePoint(std::string_view& text);

void AppendCodePoint(std::string& text, char32_t codePoint);

/// The text with "?" for every control character: an alias or a client's message may hold anything,
/// a terminal would take some of it as commands, and a line end would forge another line.
std::string Printable(std::string_view text);

}  // namespace tarn
