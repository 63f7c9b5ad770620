// Owners of what COM hands out: an interface reference, a text, a variant.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <string>
#include <string_view>
#include <utility>

namespace tarn {

/// Holds one reference to an interface, or none.
template <class Interface>
class ComPtr {
 public:
  ComPtr() = default;
  /// Shares the reference; the caller keeps its own.
  explicit ComPtr(Interface* object) : object_(object) {
    if (object_) object_->AddRef();
  }
  ComPtr(const ComPtr& other) : ComPtr(other.object_) {}
  ComPtr(ComPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~ComPtr() { Reset(); }

  /// Lets go first, so that a destructor which comes back here finds it empty.
  void Reset() {
    if (Interface* object = std::exchange(object_, nullptr)) object->Release();
  }
  /// Where a call puts a reference that it gives away.
  Interface** Receive() {
    Reset();
    return &object_;
  }
  /// Gives the reference away.
  Interface* Detach() { return std::exchange(object_, nullptr); }

  Interface* Get() const { return object_; }
  Interface* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  /// Empty when the object does not have the interface.
  template <class Other>
  ComPtr<Other> As(const IID& iid = __uuidof(Other)) const {
    ComPtr<Other> other;
    if (object_) object_->QueryInterface(iid, reinterpret_cast<void**>(other.Receive()));
    return other;
  }

 private:
  Interface* object_ = nullptr;
};

/// Owns a BSTR. A null one reads as the empty text, as everywhere in Automation.
class Bstr {
 public:
  Bstr() = default;
  explicit Bstr(std::wstring_view text)
      : text_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
  Bstr(Bstr&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
  Bstr& operator=(Bstr&& other) noexcept {
    std::swap(text_, other.text_);
    return *this;
  }
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  ~Bstr() { SysFreeString(text_); }

  BSTR* Receive() {
    SysFreeString(std::exchange(text_, nullptr));
    return &text_;
  }
  BSTR Detach() { return std::exchange(text_, nullptr); }
  BSTR Get() const { return text_; }
  std::wstring_view View() const {
    return text_ ? std::wstring_view(text_, SysStringLen(text_)) : std::wstring_view();
  }
  std::wstring Text() const { return std::wstring(View()); }

 private:
  BSTR text_ = nullptr;
};

/// Owns what a VARIANT holds.
class Variant {
 public:
  Variant() { VariantInit(&value_); }
  explicit Variant(std::wstring_view text) : Variant() {
    V_VT(&value_) = VT_BSTR;
    V_BSTR(&value_) = Bstr(text).Detach();
  }
  explicit Variant(LONG number) : Variant() {
    V_VT(&value_) = VT_I4;
    V_I4(&value_) = number;
  }
  Variant(const Variant& other) : Variant() {
    VariantCopy(&value_, const_cast<VARIANT*>(&other.value_));  // declared without const
  }
  Variant(Variant&& other) noexcept : value_(other.value_) { VariantInit(&other.value_); }
  Variant& operator=(Variant other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Variant() { VariantClear(&value_); }

  VARIANT* Get() { return &value_; }
  const VARIANT* Get() const { return &value_; }
  /// Gives the contents away.
  VARIANT Detach() {
    const VARIANT given = value_;
    VariantInit(&value_);
    return given;
  }

 private:
  VARIANT value_;
};

}  // namespace tarn
