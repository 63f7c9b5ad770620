#include "tests/automation/slot_walker.hpp"

#include <cstdio>
#include <utility>

namespace tarn::slots {
namespace {

int failures = 0;
int checks = 0;

ComPtr<IUnknown> Identity(const Variant& value) {
  if (V_VT(value.Get()) != VT_DISPATCH || !V_DISPATCH(value.Get())) return {};
  return ComPtr<IDispatch>(V_DISPATCH(value.Get())).As<IUnknown>(IID_IUnknown);
}

Variant Different(const Variant& old, VARTYPE type) {
  if (type == VT_BOOL) {
    Variant value = OfType(VT_BOOL);
    V_BOOL(value.Get()) = V_BOOL(old.Get()) ? VARIANT_FALSE : VARIANT_TRUE;
    return value;
  }
  if (type == VT_BSTR)
    return Variant(std::wstring(V_BSTR(old.Get()) ? V_BSTR(old.Get()) : L"") + L"9");
  Variant number;
  VariantChangeType(number.Get(), const_cast<VARIANT*>(old.Get()), 0, VT_R8);
  return Number(type, V_R8(number.Get()) == 2 ? 3 : 2);
}

void CheckGet(const Subject& subject, IUnknown* face, const Slot& slot) {
  Variant early = OfType(slot.type);
  const HRESULT result = CallSlot(face, slot.number, {AddressOf(early)});
  const std::wstring what = std::wstring(subject.name) + L".get " + slot.name;
  if (!Expect(SUCCEEDED(result), what, result)) return;
  Variant late = Read(subject.object.Get(), slot.name);
  Expect(Equal(early, late), what + L" differs from the value by name");
}

void CheckLet(const Subject& subject, IUnknown* face, const Slot& slot) {
  const std::wstring what = std::wstring(subject.name) + L".let " + slot.name;
  Variant old = Read(subject.object.Get(), slot.name);
  Variant value = Different(old, slot.type);
  HRESULT result = CallSlot(face, slot.number, {value});
  if (!Expect(SUCCEEDED(result), what, result)) return;
  Variant late = Read(subject.object.Get(), slot.name);
  Expect(Equal(value, late), what + L" is not what the name reads");
  Variant restored;
  VariantChangeType(restored.Get(), old.Get(), 0, slot.type);
  CallSlot(face, slot.number, {restored});
}

void CheckSet(const Subject& subject, IUnknown* face, const Slot& slot) {
  const std::wstring what = std::wstring(subject.name) + L".set " + slot.name;
  Variant old = Read(subject.object.Get(), slot.name);
  Variant value = Read(subject.other.Get(), slot.name);
  if (!Expect(Identity(value).Get() != nullptr, what + L" has nothing to set")) return;
  HRESULT result = CallSlot(face, slot.number, {value});
  if (!Expect(SUCCEEDED(result), what, result)) return;
  Variant late = Read(subject.object.Get(), slot.name);
  Expect(Equal(value, late), what + L" is not what the name reads");
  if (Identity(old)) CallSlot(face, slot.number, {old});
}

void CheckCall(const Subject& subject, IUnknown* face, const Slot& slot) {
  Variant ignored;
  const HRESULT early = CallSlot(face, slot.number, {});
  const HRESULT late = CallName(subject.object.Get(), slot.name, DISPATCH_METHOD, {}, ignored);
  Expect(early == late, std::wstring(subject.name) + L"." + slot.name, early);
}

ComPtr<ITypeLib> Library() {
  // {2E5AF1A8-4271-4EEC-9868-56F07055D47D}, as the interface's dump tells.
  const GUID library = {
      0x2E5AF1A8, 0x4271, 0x4EEC, {0x98, 0x68, 0x56, 0xF0, 0x70, 0x55, 0xD4, 0x7D}};
  ComPtr<ITypeLib> types;
  LoadRegTypeLib(library, 1, 0, 0, types.Receive());
  return types;
}

/// Every slot behind IDispatch's seven has a row, of the library's name.
void CheckNames(const Subject& subject, const std::vector<Slot>& slots) {
  static const ComPtr<ITypeLib> library = Library();
  ComPtr<ITypeInfo> dispatch, type;
  HREFTYPE reference = 0;
  if (!Expect(library && SUCCEEDED(library->GetTypeInfoOfGuid(subject.iid, dispatch.Receive())) &&
                  SUCCEEDED(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference)) &&
                  SUCCEEDED(dispatch->GetRefTypeInfo(reference, type.Receive())),
              std::wstring(subject.name) + L" in the library")) {
    return;
  }
  TYPEATTR* attributes = nullptr;
  type->GetTypeAttr(&attributes);
  const std::size_t count = attributes->cFuncs;
  type->ReleaseTypeAttr(attributes);
  Expect(count == slots.size(), std::wstring(subject.name) + L" has rows for all slots");
  for (UINT i = 0; i < count && i < slots.size(); ++i) {
    FUNCDESC* function = nullptr;
    type->GetFuncDesc(i, &function);
    Bstr name;
    UINT found = 0;
    type->GetNames(function->memid, name.Receive(), 1, &found);
    const int number = function->oVft / static_cast<int>(sizeof(void*));
    type->ReleaseFuncDesc(function);
    Expect(number == slots[i].number && name.View() == slots[i].name,
           std::wstring(subject.name) + L"." + slots[i].name + L" is at its slot");
  }
}

}  // namespace

bool Expect(bool fulfilled, const std::wstring& what, HRESULT result) {
  ++checks;
  if (fulfilled) return true;
  ++failures;
  std::printf("WRONG %ls (%08lX)\n", what.c_str(), static_cast<unsigned long>(result));
  return false;
}

Variant OfType(VARTYPE type) {
  Variant value;
  V_VT(value.Get()) = type;
  V_R8(value.Get()) = 0;
  return value;
}

Variant Number(VARTYPE type, double number) {
  Variant value;
  Variant plain;
  V_VT(plain.Get()) = VT_R8;
  V_R8(plain.Get()) = number;
  VariantChangeType(value.Get(), plain.Get(), 0, type);
  return value;
}

Variant Object(IDispatch* object) {
  Variant value = OfType(VT_DISPATCH);
  V_DISPATCH(value.Get()) = ComPtr<IDispatch>(object).Detach();
  return value;
}

/// The address of what a variant holds, as an argument.
Variant AddressOf(Variant& value) {
  Variant address;
  V_VT(address.Get()) = VT_BYREF | VT_I8;
  V_BYREF(address.Get()) = &V_BYREF(value.Get());
  return address;
}

HRESULT CallSlot(IUnknown* object, int slot, std::vector<Variant> arguments) {
  std::vector<VARTYPE> types;
  std::vector<VARIANT*> values;
  for (Variant& argument : arguments) {
    types.push_back(V_VT(argument.Get()));
    values.push_back(argument.Get());
  }
  Variant result;
  const HRESULT called =
      DispCallFunc(object, static_cast<ULONG_PTR>(slot) * sizeof(void*), CC_STDCALL, VT_ERROR,
                   static_cast<UINT>(values.size()), types.data(), values.data(), result.Get());
  return FAILED(called) ? called : V_ERROR(result.Get());
}

/// The failure of a member itself, not that of the call by name.
HRESULT CallName(IDispatch* object, const wchar_t* name, WORD how, std::vector<Variant> arguments,
                 Variant& result) {
  std::wstring text = name;
  LPOLESTR names = text.data();
  DISPID id = DISPID_UNKNOWN;
  const HRESULT known = object->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id);
  if (FAILED(known)) return known;
  std::vector<VARIANT> reversed;
  for (auto at = arguments.rbegin(); at != arguments.rend(); ++at) reversed.push_back(*at->Get());
  DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  EXCEPINFO error{};
  const HRESULT called = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, how, &parameters,
                                        result.Get(), &error, nullptr);
  SysFreeString(error.bstrDescription);
  SysFreeString(error.bstrSource);
  SysFreeString(error.bstrHelpFile);
  return called == DISP_E_EXCEPTION ? error.scode : called;
}

Variant Read(IDispatch* object, const wchar_t* name) {
  Variant value;
  const HRESULT result = CallName(object, name, DISPATCH_PROPERTYGET, {}, value);
  Expect(SUCCEEDED(result), std::wstring(L"reading by name ") + name, result);
  return value;
}

bool Equal(Variant& left, Variant& right) {
  if (V_VT(left.Get()) == VT_DISPATCH) return Identity(left).Get() == Identity(right).Get();
  return VarCmp(left.Get(), right.Get(), LOCALE_USER_DEFAULT, 0) == static_cast<HRESULT>(VARCMP_EQ);
}

ComPtr<IUnknown> Walk(const Subject& subject, const std::vector<Slot>& slots) {
  auto face = subject.object.As<IUnknown>(subject.iid);
  if (!Expect(static_cast<bool>(face), std::wstring(subject.name) + L" is there")) return face;
  CheckNames(subject, slots);
  for (const Slot& slot : slots) {
    switch (slot.kind) {
      case Kind::Get:
        CheckGet(subject, face.Get(), slot);
        break;
      case Kind::Let:
        CheckLet(subject, face.Get(), slot);
        break;
      case Kind::Set:
        CheckSet(subject, face.Get(), slot);
        break;
      case Kind::Call:
        CheckCall(subject, face.Get(), slot);
        break;
      case Kind::Own:
        break;
    }
  }
  return face;
}

ComPtr<IDispatch> ObjectOf(IDispatch* object, const wchar_t* name) {
  return ComPtr<IDispatch>(V_DISPATCH(Read(object, name).Get()));
}

ComPtr<IDispatch> Create(const CLSID& clsid) {
  ComPtr<IDispatch> object;
  const HRESULT result = CoCreateInstance(clsid, nullptr, CLSCTX_LOCAL_SERVER, IID_IDispatch,
                                          reinterpret_cast<void**>(object.Receive()));
  Expect(SUCCEEDED(result), L"creating an object", result);
  return object;
}

void CheckSuccess(IUnknown* face, int slot, std::vector<Variant> arguments, const wchar_t* what) {
  const HRESULT result = CallSlot(face, slot, std::move(arguments));
  Expect(SUCCEEDED(result), what, result);
}

void CheckBasicError(IUnknown* face, int slot, std::vector<Variant> arguments, int number,
                     const wchar_t* what) {
  const HRESULT result = CallSlot(face, slot, std::move(arguments));
  Expect(result == MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, number), what, result);
}

bool IsTrue(const Variant& value) {
  return V_BOOL(value.Get()) != VARIANT_FALSE;
}

int Report(const char* program) {
  std::printf("All of %s: %d checks, %d wrong\n", program, checks, failures);
  return failures == 0 ? 0 : 1;
}

}  // namespace tarn::slots
