// The text that terminals send over an idle network connection, to be cut out of what is received.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarn {

inline constexpr std::string_view kKeepAliveText = "!!I'm Alive!!";

/// Removes every keep-alive text from the buffer, including one that forms when the bytes around
/// another are joined. Returns true if everything that was in front of some keep-alive text has
/// been removed with it, so that the buffer now begins with what stood behind one.
bool RemoveKeepAlives(std::string& buffer);

/// The number of bytes at the end that may be the beginning of a keep-alive text whose rest has not
/// arrived yet. One or two exclamation marks are too few to tell, and count as text.
std::size_t UnfinishedKeepAlive(std::string_view buffer);

}  // namespace tarn
