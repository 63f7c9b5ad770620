// Texts with characters that no keyboard has, as the tools read and show them:
//   \r \n \t \b \\   and \xHH for the character of that number
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarn {

inline constexpr const char* kEscapesHelp = "a backslash begins \\r, \\n, \\t, \\b, \\\\ or \\xHH";

/// UTF-8 without the escapes; none where a backslash begins no escape.
std::optional<std::string> FromEscapes(std::string_view text);

/// Control characters and backslashes escaped, so that FromEscapes gives the text again.
std::string ToEscapes(std::string_view text);

}  // namespace tarn
