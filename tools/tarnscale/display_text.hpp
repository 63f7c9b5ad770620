// Texts for a terminal: without control characters, measured and cut by characters.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/utf8.hpp"  // Printable

namespace tarn::tool {

/// Returns the number of characters of a text on the screen.
std::size_t DisplayWidth(std::string_view text);

enum class Align { Left, Right };

/// Returns the text cut or padded to this width.
std::string Fit(std::string_view text, std::size_t width, Align align = Align::Left);

/// Returns the text as one word of a command line: in quotes where a shell would split it.
std::string ShellWord(const std::string& text);

}  // namespace tarn::tool
