// Arrays of the core as COM carries them, and back.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <cstdint>
#include <new>
#include <string_view>
#include <type_traits>
#include <vector>

#include "automation/com_values.hpp"
#include "base/automation_error.hpp"

namespace tarn {

template <class Element>
constexpr VARTYPE kElementType = std::is_same_v<Element, BSTR>            ? VT_BSTR
                                 : std::is_same_v<Element, VARIANT_BOOL>  ? VT_BOOL
                                 : std::is_same_v<Element, unsigned char> ? VT_UI1
                                                                          : VT_I4;

/// An array that the caller of a member gets and frees. What clients index from 1 counts from 1.
template <class Element, class Values>
SAFEARRAY* NewArray(const Values& values, LONG first = 1) {
  static_assert(kElementType<Element> != VT_I4 || std::is_same_v<Element, LONG>);
  SAFEARRAY* array =
      SafeArrayCreateVector(kElementType<Element>, first, static_cast<ULONG>(std::size(values)));
  if (array == nullptr) throw std::bad_alloc();
  auto* element = static_cast<Element*>(array->pvData);
  for (const auto& value : values) *element++ = ToCom<Element>(value);
  return array;
}

/// The bytes of an array that a client hands in, wherever it begins; error 13 for another array.
inline std::vector<std::uint8_t> BytesOf(SAFEARRAY* array) {
  std::vector<std::uint8_t> bytes;
  if (array == nullptr) return bytes;
  VARTYPE type = VT_EMPTY;
  if (FAILED(SafeArrayGetVartype(array, &type)) || type != VT_UI1 || SafeArrayGetDim(array) != 1) {
    ThrowTypeMismatch();
  }
  std::uint8_t* data = nullptr;
  if (FAILED(SafeArrayAccessData(array, reinterpret_cast<void**>(&data)))) ThrowTypeMismatch();
  bytes.assign(data, data + array->rgsabound[0].cElements);
  SafeArrayUnaccessData(array);
  return bytes;
}

}  // namespace tarn
