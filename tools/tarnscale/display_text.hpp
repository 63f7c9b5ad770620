// Texts for people: safe to put on a terminal, measured and cut by characters.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/utf8.hpp"  // Printable

namespace tarn::tool {

/// How many characters a text has on the screen.
std::size_t DisplayWidth(std::string_view text);

enum class Align { Left, Right };

/// The text cut or filled up to so many characters.
std::string Fit(std::string_view text, std::size_t width, Align align = Align::Left);

/// A text as it can be typed into a command line: in quotes where a shell would take it apart.
std::string ShellWord(const std::string& text);

/// "scale 3 (Line 1)"; without the brackets where there is no alias.
std::string ScaleTitle(int number, std::string_view alias);

}  // namespace tarn::tool
