#include "platform/posix/posix_keys.hpp"

#include <algorithm>
#include <iterator>
#include <optional>

namespace tarn {
namespace {

using Key = Console::Key;

struct Sequence {
  std::string_view text;  ///< behind the escape character and "[" or "O"
  Key key;
};
constexpr Sequence kSequences[] = {
    {"A", Key::Up},      {"B", Key::Down},      {"H", Key::Home},  {"F", Key::End},
    {"1~", Key::Home},   {"7~", Key::Home},     {"4~", Key::End},  {"8~", Key::End},
    {"5~", Key::PageUp}, {"6~", Key::PageDown}, {"M", Key::Enter},
};

/// Takes a sequence off the bytes, of which the escape character is gone already.
std::optional<Key> TakeSequence(std::string_view& bytes) {
  bytes.remove_prefix(1);
  const auto last = std::find_if(bytes.begin(), bytes.end(), [](char c) { return c >= '@'; });
  auto length = static_cast<std::size_t>(last - bytes.begin());
  if (last != bytes.end()) ++length;
  const std::string_view text = bytes.substr(0, length);
  bytes.remove_prefix(length);
  const auto* found = std::find_if(std::begin(kSequences), std::end(kSequences),
                                   [&](const Sequence& s) { return s.text == text; });
  if (found == std::end(kSequences)) return std::nullopt;
  return found->key;
}

}  // namespace

void ForEachKey(std::string_view bytes, const std::function<void(Key, char)>& report) {
  while (!bytes.empty()) {
    const char c = bytes.front();
    bytes.remove_prefix(1);
    const bool isSequence = c == '\x1b' && !bytes.empty() && (bytes[0] == '[' || bytes[0] == 'O');
    if (isSequence) {
      if (const auto key = TakeSequence(bytes)) report(*key, 0);
    } else if (c == '\x1b') {
      report(Key::Escape, 0);
    } else if (c == '\r' || c == '\n') {
      report(Key::Enter, 0);
    } else if (c == '\x7f' || c == '\b') {
      report(Key::Backspace, 0);
    } else if (c >= ' ') {
      report(Key::Character, c);
    }
  }
}

}  // namespace tarn
