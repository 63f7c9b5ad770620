#include "tools/tarnscale/screen.hpp"

#include <cstddef>

#include "tools/tarnscale/display_text.hpp"

namespace tarn::tool {
namespace {

constexpr std::string_view kClearScreen = "\x1b[2J";
constexpr std::string_view kClearRestOfLine = "\x1b[K";

std::string MoveTo(std::size_t line) {
  return "\x1b[" + std::to_string(line + 1) + ";1H";
}

}  // namespace

std::string Screen::Update(const Drawing& drawing, Console::Size size) {
  std::string sequences;
  if (size.columns != size_.columns || size.rows != size_.rows) {
    sequences = kClearScreen;
    shown_.clear();
    size_ = size;
  }
  shown_.resize(drawing.lines.size());
  for (std::size_t i = 0; i < drawing.lines.size(); ++i) {
    const std::string& text = drawing.lines[i];
    std::string line = i == drawing.selectedLine ? "\x1b[7m" + text + "\x1b[0m" : text;
    if (line == shown_[i]) continue;
    sequences += MoveTo(i) + line;
    // After a full line the cursor is still on the last column, and clearing would erase it.
    if (DisplayWidth(text) < static_cast<std::size_t>(size.columns)) sequences += kClearRestOfLine;
    shown_[i] = std::move(line);
  }
  return sequences;
}

}  // namespace tarn::tool
