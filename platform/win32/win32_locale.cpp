#include "platform/win32/win32_locale.hpp"

#include <array>
#include <cstddef>

#include "platform/utf8.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {
namespace {

/// The system's code page; where that is no single-byte one (UTF-8, East Asia) the Western one,
/// since the bytes of a line are characters one by one.
UINT SingleByteCodePage() {
  constexpr UINT kWestern = 1252;
  CPINFO info;
  return GetCPInfo(CP_ACP, &info) && info.MaxCharSize == 1 ? GetACP() : kWestern;
}

std::string LocaleText(LCTYPE type, const char* fallback) {
  std::array<wchar_t, 16> text{};
  const int length =
      GetLocaleInfoEx(LOCALE_NAME_USER_DEFAULT, type, text.data(), static_cast<int>(text.size()));
  return length > 0 ? FromWide(text.data()) : fallback;
}

}  // namespace

Win32Locale::Win32Locale() : codePage_(SingleByteCodePage()) {}

std::string Win32Locale::DecimalSeparator() const {
  return LocaleText(LOCALE_SDECIMAL, ".");
}

std::string Win32Locale::GroupSeparator() const {
  return LocaleText(LOCALE_STHOUSAND, ",");
}

std::string Win32Locale::DateText() const {
  std::array<wchar_t, 128> text{};
  GetDateFormatEx(LOCALE_NAME_USER_DEFAULT, DATE_SHORTDATE, nullptr, nullptr, text.data(),
                  static_cast<int>(text.size()), nullptr);
  return FromWide(text.data());
}

std::string Win32Locale::TimeText() const {
  std::array<wchar_t, 128> text{};
  GetTimeFormatEx(LOCALE_NAME_USER_DEFAULT, 0, nullptr, nullptr, text.data(),
                  static_cast<int>(text.size()));
  return FromWide(text.data());
}

/// Code point by code point, so that one beyond UTF-16's first plane gives one "?" and not two.
std::string Win32Locale::ToBytes(std::string_view text) const {
  std::string bytes;
  while (!text.empty()) {
    const char32_t codePoint = TakeCodePoint(text);
    if (codePoint < 0x80) {
      bytes += static_cast<char>(codePoint);
    } else if (codePoint < 0x10000) {
      bytes += ByteOf(static_cast<wchar_t>(codePoint));
    } else {
      bytes += '?';
    }
  }
  return bytes;
}

/// No best fit: a character that merely looks alike is not what was meant.
char Win32Locale::ByteOf(wchar_t unit) const {
  char byte = '?';
  BOOL missing = FALSE;
  const int count =
      WideCharToMultiByte(codePage_, WC_NO_BEST_FIT_CHARS, &unit, 1, &byte, 1, "?", &missing);
  return count == 1 && !missing ? byte : '?';
}

std::string Win32Locale::FromBytes(std::string_view bytes) const {
  const int size = static_cast<int>(bytes.size());
  std::wstring wide(bytes.size(), L'\0');
  const int length = MultiByteToWideChar(codePage_, 0, bytes.data(), size, wide.data(), size);
  return FromWide({wide.data(), static_cast<std::size_t>(length)});
}

}  // namespace tarn
