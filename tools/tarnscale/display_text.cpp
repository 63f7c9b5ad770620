#include "tools/tarnscale/display_text.hpp"

namespace tarn::tool {

std::size_t DisplayWidth(std::string_view text) {
  std::size_t width = 0;
  for (; !text.empty(); ++width) TakeCodePoint(text);
  return width;
}

std::string Fit(std::string_view text, std::size_t width, Align align) {
  std::string_view rest = text;
  std::size_t taken = 0;
  for (; taken < width && !rest.empty(); ++taken) TakeCodePoint(rest);
  const std::string shown(text.substr(0, text.size() - rest.size()));
  const std::string filling(width - taken, ' ');
  return align == Align::Left ? shown + filling : filling + shown;
}

std::string ShellWord(const std::string& text) {
  const bool plain = !text.empty() && text.find_first_of(" \t\"'\\$&|<>;()*?`!#") == text.npos;
  return plain ? text : "\"" + text + "\"";
}

}  // namespace tarn::tool
