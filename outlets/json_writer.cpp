#include "outlets/json_writer.hpp"

#include <array>
#include <charconv>
#include <cmath>

#include "platform/utf8.hpp"

namespace tarn {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

bool IsPlain(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x20 && byte < 0x7F && c != '"' && c != '\\';
}

/// A character that cannot stand as it is; bytes that are no UTF-8 become U+FFFD.
void AppendEscaped(std::string& text, std::string_view& rest) {
  const char32_t c = TakeCodePoint(rest);
  if (c == U'"' || c == U'\\') {
    text += '\\';
    text += static_cast<char>(c);
  } else if (c == U'\n') {
    text += "\\n";
  } else if (c == U'\r') {
    text += "\\r";
  } else if (c == U'\t') {
    text += "\\t";
  } else if (c < 0x20 || c == 0x7F) {
    text += "\\u00";
    text += kHexDigits[c >> 4U];
    text += kHexDigits[c & 15U];
  } else {
    AppendCodePoint(text, c);
  }
}

template <class Number>
void AppendNumber(std::string& text, Number value) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  text.append(digits.data(), end);
}

}  // namespace

JsonWriter& JsonWriter::Key(std::string_view name) {
  text_.append(needsComma_ ? ",\"" : "\"").append(name).append("\":");
  needsComma_ = false;
  return *this;
}

JsonWriter& JsonWriter::Value(std::string_view text) {
  Separate();
  text_ += '"';
  while (!text.empty()) {
    std::size_t plain = 0;
    while (plain < text.size() && IsPlain(text[plain])) ++plain;
    text_.append(text, 0, plain);
    text.remove_prefix(plain);
    if (!text.empty()) AppendEscaped(text_, text);
  }
  text_ += '"';
  return *this;
}

JsonWriter& JsonWriter::Value(double value) {
  if (!std::isfinite(value)) return Null();
  Separate();
  const std::size_t start = text_.size();
  AppendNumber(text_, value);
  if (text_.find_first_of(".e", start) == std::string::npos) text_ += ".0";
  return *this;
}

JsonWriter& JsonWriter::Value(std::int64_t value) {
  Separate();
  AppendNumber(text_, value);
  return *this;
}

JsonWriter& JsonWriter::Value(std::uint64_t value) {
  Separate();
  AppendNumber(text_, value);
  return *this;
}

JsonWriter& JsonWriter::Raw(std::string_view json) {
  Separate();
  text_ += json;
  return *this;
}

JsonWriter& JsonWriter::Begin(char bracket) {
  Separate();
  text_ += bracket;
  needsComma_ = false;
  return *this;
}

JsonWriter& JsonWriter::End(char bracket) {
  text_ += bracket;
  needsComma_ = true;
  return *this;
}

void JsonWriter::Separate() {
  if (needsComma_) text_ += ',';
  needsComma_ = true;
}

}  // namespace tarn
