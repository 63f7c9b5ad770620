#include "platform/posix/posix_locale.hpp"

#include <iconv.h>
#include <langinfo.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>
#include <new>

#include "platform/utf8.hpp"

namespace tarn {
namespace {

/// Windows-1252 from 0x80 on; before and behind these 32 the bytes are the code points. The five
/// that are not defined stand for the control characters of their number, so that every byte
/// survives the way to text and back.
constexpr unsigned char kFirstOwn = 0x80;
constexpr char32_t kWindows1252[] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

/// A locale by the variables of one category, with the texts of all in its own character set.
locale_t OpenLocale(const char* variable) {
  const char* name = "C";
  for (const char* candidate : {"LC_ALL", variable, "LANG"}) {
    const char* value = std::getenv(candidate);
    if (value == nullptr || *value == 0) continue;
    name = value;
    break;
  }
  locale_t locale = ::newlocale(LC_ALL_MASK, name, nullptr);
  if (locale == nullptr) locale = ::newlocale(LC_ALL_MASK, "C", nullptr);  // not installed
  if (locale == nullptr) throw std::bad_alloc();
  return locale;
}

std::string ToUtf8(std::string text, locale_t locale) {
  const bool ascii = std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
  const std::string_view characterSet = ::nl_langinfo_l(CODESET, locale);
  if (ascii || characterSet == "UTF-8") return text;
  const iconv_t converter = ::iconv_open("UTF-8", characterSet.data());
  // NOLINTNEXTLINE(performance-no-int-to-ptr): how iconv says that it failed
  if (converter == reinterpret_cast<iconv_t>(-1)) return text;
  std::array<char, 512> converted{};
  char* from = text.data();
  std::size_t fromLeft = text.size();
  char* to = converted.data();
  std::size_t toLeft = converted.size();
  ::iconv(converter, &from, &fromLeft, &to, &toLeft);
  ::iconv_close(converter);
  return {converted.data(), converted.size() - toLeft};
}

std::string TextOfNow(const char* format, locale_t locale) {
  const time_t now = ::time(nullptr);
  tm local{};
  ::localtime_r(&now, &local);
  std::array<char, 128> text{};
  const std::size_t length = ::strftime_l(text.data(), text.size(), format, &local, locale);
  return ToUtf8({text.data(), length}, locale);
}

}  // namespace

PosixLocale::PosixLocale() : numbers_(OpenLocale("LC_NUMERIC")), times_(OpenLocale("LC_TIME")) {
  ::tzset();
}

PosixLocale::~PosixLocale() {
  ::freelocale(numbers_);
  ::freelocale(times_);
}

std::string PosixLocale::DecimalSeparator() const {
  return ToUtf8(::nl_langinfo_l(RADIXCHAR, numbers_), numbers_);
}

std::string PosixLocale::GroupSeparator() const {
  return ToUtf8(::nl_langinfo_l(THOUSEP, numbers_), numbers_);
}

std::string PosixLocale::DateText() const {
  return TextOfNow("%x", times_);
}
std::string PosixLocale::TimeText() const {
  return TextOfNow("%X", times_);
}

std::string PosixLocale::ToBytes(std::string_view text) const {
  std::string bytes;
  bytes.reserve(text.size());
  while (!text.empty()) {
    const char32_t codePoint = TakeCodePoint(text);
    const auto* own = std::find(std::begin(kWindows1252), std::end(kWindows1252), codePoint);
    if (codePoint < kFirstOwn || (codePoint > 0x9F && codePoint < 0x100)) {
      bytes += static_cast<char>(codePoint);
    } else if (own != std::end(kWindows1252)) {
      bytes += static_cast<char>(kFirstOwn + (own - std::begin(kWindows1252)));
    } else {
      bytes += '?';
    }
  }
  return bytes;
}

std::string PosixLocale::FromBytes(std::string_view bytes) const {
  std::string text;
  text.reserve(bytes.size());
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    const bool own = byte >= kFirstOwn && byte <= 0x9F;
    AppendCodePoint(text, own ? kWindows1252[byte - kFirstOwn] : byte);
  }
  return text;
}

}  // namespace tarn
