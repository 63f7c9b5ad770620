// UTF-8, which the whole program uses, to and from the system's UTF-16.
#pragma once

#include <string>
#include <string_view>

namespace tarn {

/// What is no valid text becomes U+FFFD.
std::wstring ToWide(std::string_view text);
std::string FromWide(std::wstring_view text);

}  // namespace tarn
