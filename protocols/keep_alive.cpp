#include "protocols/keep_alive.hpp"

#include <algorithm>

namespace tarn {
namespace {

constexpr std::size_t kFewestToTell = 3;

}  // namespace

/// The kept bytes move to the front during a single pass, so that the time is linear even in a
/// buffer full of keep-alive texts.
bool RemoveKeepAlives(std::string& buffer) {
  std::size_t kept = 0;
  bool front = false;
  for (const char byte : buffer) {
    buffer[kept++] = byte;
    if (!std::string_view(buffer.data(), kept).ends_with(kKeepAliveText)) continue;
    kept -= kKeepAliveText.size();
    front |= kept == 0;
  }
  buffer.resize(kept);
  return front;
}

std::size_t UnfinishedKeepAlive(std::string_view buffer) {
  const std::size_t longest = std::min(buffer.size(), kKeepAliveText.size() - 1);
  for (std::size_t length = longest; length >= kFewestToTell; --length) {
    if (buffer.ends_with(kKeepAliveText.substr(0, length))) return length;
  }
  return 0;
}

}  // namespace tarn
