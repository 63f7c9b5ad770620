#include "tools/tarnscale/display_text.hpp"

#include "platform/utf8.hpp"

namespace tarn::tool {
namespace {

bool IsControl(char32_t codePoint) {
  return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0);
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string printable;
  while (!text.empty()) {
    const char32_t codePoint = TakeCodePoint(text);
    AppendCodePoint(printable, IsControl(codePoint) ? U'?' : codePoint);
  }
  return printable;
}

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

std::string ScaleTitle(int number, std::string_view alias) {
  std::string title = "scale " + std::to_string(number);
  if (!alias.empty()) title += " (" + Printable(alias) + ")";
  return title;
}

}  // namespace tarn::tool
