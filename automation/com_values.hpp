// Values of the core as COM carries them, and back.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "automation/com_owners.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {

/// A text that the caller of a member gets and frees.
inline BSTR NewText(std::string_view text) {
  return Bstr(ToWide(text)).Detach();
}

/// A text from a client; none is the empty one.
inline std::string Text(BSTR text) {
  return text == nullptr ? std::string() : FromWide(std::wstring_view(text, SysStringLen(text)));
}

constexpr VARIANT_BOOL ToVariantBool(bool value) {
  return value ? VARIANT_TRUE : VARIANT_FALSE;
}
constexpr bool IsTrue(VARIANT_BOOL value) {
  return value != VARIANT_FALSE;
}

/// Numbers, enumerations, truth values and texts.
template <class Result, class Value>
Result ToCom(const Value& value) {
  if constexpr (std::is_same_v<Result, BSTR>)
    return NewText(value);
  else if constexpr (std::is_same_v<Value, bool>)
    return ToVariantBool(value);
  else
    return static_cast<Result>(value);
}

}  // namespace tarn
