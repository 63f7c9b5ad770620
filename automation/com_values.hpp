// Values of the core as COM carries them, and back.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "automation/com_owners.hpp"
#include "base/automation_error.hpp"
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

/// A single value for a client, in the type that corresponds to the core's.
template <class Value>
Variant ToVariant(const Value& value) {
  if constexpr (std::is_convertible_v<const Value&, std::string_view>) {
    return Variant(ToWide(value));
  } else {
    Variant variant;
    VARIANT& plain = *variant.Get();
    if constexpr (std::is_same_v<Value, bool>) {
      V_VT(&plain) = VT_BOOL;
      V_BOOL(&plain) = ToVariantBool(value);
    } else if constexpr (std::is_same_v<Value, float>) {
      V_VT(&plain) = VT_R4;
      V_R4(&plain) = value;
    } else if constexpr (std::is_same_v<Value, double>) {
      V_VT(&plain) = VT_R8;
      V_R8(&plain) = value;
    } else if constexpr (sizeof(Value) == 1) {
      V_VT(&plain) = VT_UI1;
      V_UI1(&plain) = value;
    } else if constexpr (sizeof(Value) == 2) {
      V_VT(&plain) = VT_I2;
      V_I2(&plain) = value;
    } else {
      static_assert(sizeof(Value) == 4);
      V_VT(&plain) = VT_I4;
      V_I4(&plain) = static_cast<LONG>(value);
    }
    return variant;
  }
}

/// Whether it is an object, or a reference to one. Where a value is wanted there must be none: to
/// convert it, the system would ask the client for the default property, which takes as long as the
/// client likes.
inline bool IsObject(const VARIANT& value) {
  if (V_VT(&value) == (VT_BYREF | VT_VARIANT)) return IsObject(*V_VARIANTREF(&value));
  const auto type = static_cast<VARTYPE>(V_VT(&value) & ~VT_BYREF);
  return type == VT_DISPATCH || type == VT_UNKNOWN;
}

/// Whether the caller left out an optional argument.
inline bool IsLeftOut(const VARIANT& value) {
  return V_VT(&value) == VT_ERROR && V_ERROR(&value) == DISP_E_PARAMNOTFOUND;
}

/// Converts a value as Automation does. An object is no value, unless an object is wanted.
inline HRESULT ConvertTo(VARTYPE type, VARIANT& value, LCID locale = LOCALE_USER_DEFAULT) {
  const bool wantsObject = type == VT_DISPATCH || type == VT_UNKNOWN;
  if (IsObject(value) || wantsObject) {
    return IsObject(value) && wantsObject ? S_OK : DISP_E_TYPEMISMATCH;
  }
  return VariantChangeTypeEx(&value, &value, locale, 0, type);
}

/// The same as a new value; error 13 where it does not convert.
inline Variant Converted(const VARIANT& value, VARTYPE type) {
  Variant converted;
  if (FAILED(VariantCopyInd(converted.Get(), const_cast<VARIANT*>(&value))) ||
      FAILED(ConvertTo(type, *converted.Get()))) {
    ThrowTypeMismatch();
  }
  return converted;
}

inline std::int32_t LongFrom(const VARIANT& value) {
  return V_I4(Converted(value, VT_I4).Get());
}

inline std::string TextFrom(const VARIANT& value) {
  return Text(V_BSTR(Converted(value, VT_BSTR).Get()));
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
