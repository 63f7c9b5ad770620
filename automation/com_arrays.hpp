// Arrays of the core as COM carries them, and back.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "automation/com_values.hpp"
#include "base/automation_error.hpp"

namespace tarn {

/// What an element of the core is in an array for clients.
template <class Value>
struct ArrayElement;
template <VARTYPE kVarType, class ComType>
struct ArrayElementIs {
  static constexpr VARTYPE kType = kVarType;
  using Type = ComType;
};
template <>
struct ArrayElement<std::string> : ArrayElementIs<VT_BSTR, BSTR> {};
template <>
struct ArrayElement<bool> : ArrayElementIs<VT_BOOL, VARIANT_BOOL> {};
template <>
struct ArrayElement<char> : ArrayElementIs<VT_UI1, unsigned char> {};
template <>
struct ArrayElement<std::uint8_t> : ArrayElementIs<VT_UI1, unsigned char> {};
template <>
struct ArrayElement<std::int16_t> : ArrayElementIs<VT_I2, SHORT> {};
template <>
struct ArrayElement<std::int32_t> : ArrayElementIs<VT_I4, LONG> {};
template <>
struct ArrayElement<float> : ArrayElementIs<VT_R4, float> {};
template <>
struct ArrayElement<double> : ArrayElementIs<VT_R8, double> {};

/// An array that the caller of a member gets and frees. What clients index from 1 counts from 1.
template <class Values>
SAFEARRAY* NewArray(const Values& values, LONG first = 1) {
  using Element = ArrayElement<typename Values::value_type>;
  SAFEARRAY* array =
      SafeArrayCreateVector(Element::kType, first, static_cast<ULONG>(std::size(values)));
  if (array == nullptr) throw std::bad_alloc();
  auto* place = static_cast<typename Element::Type*>(array->pvData);
  std::transform(values.begin(), values.end(), place, [](const typename Values::value_type& value) {
    return ToCom<typename Element::Type>(value);
  });
  return array;
}

/// The same as a value.
template <class Values>
Variant ArrayVariant(const Values& values, LONG first = 1) {
  Variant array;
  V_ARRAY(array.Get()) = NewArray(values, first);
  V_VT(array.Get()) = VT_ARRAY | ArrayElement<typename Values::value_type>::kType;
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
