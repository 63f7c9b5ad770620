#include "automation/tag_variants.hpp"

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "automation/client_reference.hpp"
#include "automation/com_arrays.hpp"
#include "automation/core_objects.hpp"

namespace tarn {
namespace {

class KeptValue : public ForeignValue {
 public:
  virtual Variant Given() const = 0;
};

/// A value of a kind that terminals do not have.
class KeptVariant final : public KeptValue {
 public:
  explicit KeptVariant(Variant value) : value_(std::move(value)) {}
  Variant Given() const override { return value_; }

 private:
  Variant value_;
};

/// An object of the server itself, held as the core knows it: its COM object would count as a
/// client's reference, and a tag that holds its own scale would keep the process running.
class KeptCore final : public KeptValue {
 public:
  explicit KeptCore(std::function<ComPtr<IUnknown>()> wrapAgain)
      : wrapAgain_(std::move(wrapAgain)) {}
  Variant Given() const override {
    Variant given;
    V_VT(given.Get()) = VT_DISPATCH;
    V_DISPATCH(given.Get()) = wrapAgain_().As<IDispatch>(IID_IDispatch).Detach();
    return given;
  }

 private:
  std::function<ComPtr<IUnknown>()> wrapAgain_;
};

/// The interface of an object in a value.
IID FaceOf(VARTYPE type) {
  return type == VT_DISPATCH ? IID_IDispatch : IID_IUnknown;
}

/// A client's own object; nothing once the client is gone.
class KeptObject final : public KeptValue {
 public:
  KeptObject(std::shared_ptr<ClientReference> object, VARTYPE type)
      : object_(std::move(object)), type_(type) {}
  Variant Given() const override {
    Variant given;
    V_VT(given.Get()) = type_;
    if (object_->IsLost()) return given;
    V_UNKNOWN(given.Get()) = object_->ForThisApartment({FaceOf(type_)}).Detach();
    return given;
  }

 private:
  std::shared_ptr<ClientReference> object_;
  VARTYPE type_;
};

TagValue KeepObject(ComModule& module, Variant value) {
  IUnknown* object = V_UNKNOWN(value.Get());
  if (object == nullptr) return std::make_shared<KeptVariant>(std::move(value));
  if (const auto ours = OwnObject(module, object)) {
    if (auto wrapAgain = ours->WrapAgain()) return std::make_shared<KeptCore>(std::move(wrapAgain));
    return std::make_shared<KeptVariant>(std::move(value));
  }
  const IID face = FaceOf(V_VT(value.Get()));
  std::shared_ptr<ClientReference> client;
  if (FAILED(ClientReference::Create(module.CallsOut(), object, face, face, client))) {
    ThrowTypeMismatch();
  }
  return std::make_shared<KeptObject>(std::move(client), V_VT(value.Get()));
}

/// Only such an array comes back from bytes as it was given.
bool IsPlainRow(SAFEARRAY* array) {
  LONG first = 0;
  return array == nullptr || (SafeArrayGetDim(array) == 1 &&
                              SUCCEEDED(SafeArrayGetLBound(array, 1, &first)) && first == 0);
}

/// Without the references that scripts pass.
Variant Plain(const VARIANT& value) {
  Variant plain;
  if (FAILED(VariantCopyInd(plain.Get(), const_cast<VARIANT*>(&value)))) ThrowTypeMismatch();
  return plain;
}

}  // namespace

Variant ToVariant(const TagValue& value) {
  return std::visit(
      [](const auto& held) {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Held, std::monostate>)
          return Variant();
        else if constexpr (std::is_same_v<Held, std::vector<std::uint8_t>>)
          return ArrayVariant(held, 0);
        else if constexpr (std::is_same_v<Held, std::shared_ptr<ForeignValue>>)
          return static_cast<const KeptValue&>(*held).Given();
        else
          return tarn::ToVariant<Held>(held);
      },
      value);
}

TagValue ToTagValue(ComModule& module, const VARIANT& value) {
  Variant plain = Plain(value);
  const VARIANT& given = *plain.Get();
  switch (V_VT(&given)) {
    case VT_EMPTY:
      return {};
    case VT_BOOL:
      return IsTrue(V_BOOL(&given));
    case VT_UI1:
      return std::uint8_t{V_UI1(&given)};
    case VT_I2:
      return std::int16_t{V_I2(&given)};
    case VT_I4:
      return std::int32_t{V_I4(&given)};
    case VT_R4:
      return V_R4(&given);
    case VT_R8:
      return V_R8(&given);
    case VT_BSTR:
      return Text(V_BSTR(&given));
    case VT_ARRAY | VT_UI1:
      if (IsPlainRow(V_ARRAY(&given))) return BytesOf(V_ARRAY(&given));
      return std::make_shared<KeptVariant>(std::move(plain));
    case VT_DISPATCH:
    case VT_UNKNOWN:
      return KeepObject(module, std::move(plain));
    default:
      return std::make_shared<KeptVariant>(std::move(plain));
  }
}

TagValue ToWrittenValue(ComModule& module, const VARIANT& value) {
  const Variant plain = Plain(value);
  switch (V_VT(plain.Get())) {
    case VT_I1:
    case VT_UI2:
    case VT_UI4:
    case VT_I8:
    case VT_UI8:
    case VT_INT:
    case VT_UINT:
    case VT_CY:
    case VT_DECIMAL:
      return V_R8(Converted(*plain.Get(), VT_R8).Get());
    case VT_ARRAY | VT_UI1:
      return BytesOf(V_ARRAY(plain.Get()));
    default:
      return ToTagValue(module, *plain.Get());
  }
}

}  // namespace tarn
