// Escapes for control characters in texts that the tools read and show:
//   \r \n \t \b \\   and \xHH for the character of that number
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarn {

inline constexpr const char* kEscapesHelp = "a backslash begins \\r, \\n, \\t, \\b, \\\\ or \\xHH";

/// Returns the UTF-8 text without escapes; nothing when a backslash begins no escape.
std::optional<std::string> FromEscapes(std::string_view text);

/// Escapes control characters and backslashes, so that FromEscapes returns the text.
std::string ToEscapes(std::string_view text);

}  // namespace tarn
