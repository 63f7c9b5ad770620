// The text that terminals send over an idle network connection, to be cut out of what is received.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarn {

inline constexpr std::string_view kKeepAliveText = "!!I'm Alive!!";

/// Cuts every keep-alive text out of the buffer, also one that comes about where what stood around
/// another is joined. True when all that the buffer once began with went with them: what is at its
/// front now stood behind a keep-alive text.
bool RemoveKeepAlives(std::string& buffer);

/// How many bytes at the end may be the beginning of a keep-alive text whose rest is still under
/// way. One or two exclamation marks are too little to say: they count as text.
std::size_t UnfinishedKeepAlive(std::string_view buffer);

}  // namespace tarn
