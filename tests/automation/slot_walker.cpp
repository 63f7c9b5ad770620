#include "tests/automation/slot_walker.hpp"

#include <TarnSclServer.h>
#include <ocidl.h>
#include <olectl.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "automation/type_library.hpp"
#include "automation/windows_error.hpp"
#include "tests/automation/client_checks.hpp"

namespace tarn::slots {
namespace {

using checks::Expect;
using checks::Succeeds;

/// Properties that do not read what was written, or that take only some values: the client tests
/// them by hand.
constexpr std::wstring_view kWrittenByHand[] = {
    L"PortOpen", L"InBufferCount", L"Settings",      L"Output",      L"TimeoutTime",
    L"TagData",  L"CountsType",    L"CommLossError", L"NoDataError", L"Protocol"};

const TypeLibrary& Library() {
  static const TypeLibrary library([] {
    Bstr path;
    Check(QueryPathOfRegTypeLib(LIBID_TarnSclServer, 1, 0, 0, path.Receive()), "the library");
    return path.Text();
  }());
  return library;
}

ComPtr<IUnknown> Identity(const Variant& value) {
  return ComPtr<IDispatch>(V_DISPATCH(value.Get())).As<IUnknown>(IID_IUnknown);
}

bool Equal(Variant& left, Variant& right) {
  if (V_VT(left.Get()) == VT_DISPATCH) return Identity(left).Get() == Identity(right).Get();
  return VarCmp(left.Get(), right.Get(), LOCALE_USER_DEFAULT, 0) == static_cast<HRESULT>(VARCMP_EQ);
}

Variant Different(Variant old, VARTYPE type) {
  Variant value;
  if (type == VT_BSTR) {
    return Variant(std::wstring(V_BSTR(old.Get()) ? V_BSTR(old.Get()) : L"") + L"9");
  }
  VariantChangeType(old.Get(), old.Get(), 0, VT_R8);
  V_VT(value.Get()) = VT_R8;
  V_R8(value.Get()) = type == VT_BOOL ? (V_R8(old.Get()) == 0) : V_R8(old.Get()) == 2 ? 3 : 2;
  VariantChangeType(value.Get(), value.Get(), 0, type);
  return value;
}

/// What a parameter is, or what its pointer leads to: an object or a plain type.
VARTYPE TypeOf(const ComPtr<ITypeInfo>& type, const TYPEDESC* description) {
  while (description->vt == VT_PTR) description = description->lptdesc;
  if (description->vt == VT_SAFEARRAY) {
    return static_cast<VARTYPE>(VT_ARRAY | TypeOf(type, description->lptdesc));
  }
  if (description->vt != VT_USERDEFINED) return description->vt;
  const auto named = TypeByReference(type, description->hreftype);
  return AttributesOf(named)->typekind == TKIND_ENUM ? VT_I4 : VT_DISPATCH;
}

HRESULT CallSlot(IUnknown* object, const FUNCDESC& member, Variant* argument) {
  VARTYPE type = argument ? V_VT(argument->Get()) : VARTYPE{VT_EMPTY};
  VARIANT* value = argument ? argument->Get() : nullptr;
  Variant result;
  const HRESULT called = DispCallFunc(object, static_cast<ULONG_PTR>(member.oVft), CC_STDCALL,
                                      VT_ERROR, argument ? 1 : 0, &type, &value, result.Get());
  return FAILED(called) ? called : V_ERROR(result.Get());
}

/// The failure of the member itself, not that of the call by name.
HRESULT CallName(IDispatch* object, DISPID id, WORD how, Variant& result) {
  DISPPARAMS none{};
  EXCEPINFO error{};
  const HRESULT called =
      object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, how, &none, result.Get(), &error, nullptr);
  SysFreeString(error.bstrDescription);
  SysFreeString(error.bstrSource);
  SysFreeString(error.bstrHelpFile);
  return called == DISP_E_EXCEPTION ? error.scode : called;
}

/// One member of one interface of an object.
struct Subject {
  std::wstring name;
  const FUNCDESC& member;
  VARTYPE type;  ///< of its only parameter
  IUnknown* face;
  const ComPtr<IDispatch>& object;
  const ComPtr<IDispatch>& other;

  Variant Read(const ComPtr<IDispatch>& from) const {
    Variant value;
    const HRESULT result = CallName(from.Get(), member.memid, DISPATCH_PROPERTYGET, value);
    Expect(SUCCEEDED(result), L"reading by name " + name, result);
    return value;
  }

  void CheckGet() const {
    Variant early, address;
    V_VT(early.Get()) = type;
    V_R8(early.Get()) = 0;
    V_VT(address.Get()) = VT_BYREF | VT_I8;
    V_BYREF(address.Get()) = type == VT_VARIANT ? static_cast<void*>(early.Get())
                                                : static_cast<void*>(&V_R8(early.Get()));
    if (type == VT_VARIANT) V_VT(early.Get()) = VT_EMPTY;
    const HRESULT result = CallSlot(face, member, &address);
    if (!Expect(SUCCEEDED(result), L"get " + name, result)) return;
    Variant late = Read(object);
    Expect((type & VT_ARRAY) != 0 ? V_VT(late.Get()) == type : Equal(early, late),
           L"get " + name + L" differs from the value by name");
  }

  void CheckPut(bool isSet) const {
    if (isSet && !other) return;
    Variant old = Read(object);
    Variant value = isSet ? Read(other) : Different(old, type);
    if (isSet && !Identity(value)) return;
    const HRESULT result = CallSlot(face, member, &value);
    if (!Expect(SUCCEEDED(result), L"put " + name, result)) return;
    Variant late = Read(object);
    Expect(Equal(value, late), L"put " + name + L" is not what the name reads");
    if (isSet && !Identity(old)) return;
    VariantChangeType(old.Get(), old.Get(), 0, type);
    CallSlot(face, member, &old);
  }

  void CheckCall() const {
    Variant ignored;
    const HRESULT early = CallSlot(face, member, nullptr);
    const HRESULT late = CallName(object.Get(), member.memid, DISPATCH_METHOD, ignored);
    Expect(early == late, L"call " + name, early);
  }

  /// What is left is called by hand.
  void Check() const {
    if (member.invkind == INVOKE_FUNC && member.cParams == 0) return CheckCall();
    if (member.invkind == INVOKE_FUNC || member.cParams != 1 || type == VT_UNKNOWN) return;
    if (member.invkind == INVOKE_PROPERTYGET) return CheckGet();
    const std::wstring_view own = std::wstring_view(name).substr(name.find(L'.') + 1);
    const bool isSet = member.invkind == INVOKE_PROPERTYPUTREF;
    const bool byHand = std::find(std::begin(kWrittenByHand), std::end(kWrittenByHand), own) !=
                        std::end(kWrittenByHand);
    if (isSet || !byHand) CheckPut(isSet);
  }
};

void WalkInterface(const ComPtr<ITypeInfo>& dispatch, const ComPtr<IDispatch>& object,
                   const ComPtr<IDispatch>& other) {
  const std::wstring name = NameOf(dispatch);
  HREFTYPE slots = 0;
  Check(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &slots), "a dual interface");
  const auto type = TypeByReference(dispatch, slots);
  const auto attributes = AttributesOf(type);
  const auto face = object.As<IUnknown>(attributes->guid);
  if (!Expect(static_cast<bool>(face), name + L" is there")) return;
  for (UINT i = 0; i < attributes->cFuncs; ++i) {
    const auto member = FunctionOf(type, i);
    const SHORT count = member->cParams;
    const VARTYPE last =
        count > 0 ? TypeOf(type, &member->lprgelemdescParam[count - 1].tdesc) : VARTYPE{VT_EMPTY};
    Subject{name + L'.' + NameOf(type, member->memid), *member, last, face.Get(), object, other}
        .Check();
  }
}

void CheckEvents(const std::wstring& name, const IID& events, const ComPtr<IDispatch>& object) {
  const auto container = object.As<IConnectionPointContainer>(IID_IConnectionPointContainer);
  if (!Expect(static_cast<bool>(container), name + L" has events")) return;
  ComPtr<IEnumConnectionPoints> points;
  ComPtr<IConnectionPoint> point, other;
  IID source{};
  ULONG ignored = 0;
  if (Succeeds(container->EnumConnectionPoints(points.Receive()), name + L" lists its events")) {
    points->Next(1, point.Receive(), &ignored);  // Wine gives neither the result nor the count
  }
  if (point) point->GetConnectionInterface(&source);
  Expect(source == events, name + L" lists the events of its class");
  Expect(container->FindConnectionPoint(IID_IDispatch, other.Receive()) == CONNECT_E_NOCONNECTION,
         name + L" has no other events");
}

}  // namespace

void Walk(const ComPtr<IDispatch>& object, const ComPtr<IDispatch>& other) {
  const auto info = object.As<IProvideClassInfo2>(IID_IProvideClassInfo2);
  ComPtr<ITypeInfo> given;
  if (!Expect(info && SUCCEEDED(info->GetClassInfo(given.Receive())), L"the class of an object")) {
    return;
  }
  const auto coclass = Library().Type(AttributesOf(given)->guid);
  const std::wstring name = NameOf(coclass);
  bool hasEvents = false;
  for (UINT i = 0; i < AttributesOf(coclass)->cImplTypes; ++i) {
    HREFTYPE reference = 0;
    INT flags = 0;
    Check(coclass->GetRefTypeOfImplType(i, &reference), "a class");
    Check(coclass->GetImplTypeFlags(i, &flags), "a class");
    const auto type = TypeByReference(coclass, reference);
    if ((flags & IMPLTYPEFLAG_FSOURCE) != 0) {
      hasEvents = true;
      CheckEvents(name, AttributesOf(type)->guid, object);
    } else {
      WalkInterface(type, object, other);
    }
  }
  Expect(hasEvents || !object.As<IConnectionPointContainer>(IID_IConnectionPointContainer),
         name + L" has no events");
}

ComPtr<IDispatch> ObjectOf(const ComPtr<IDispatch>& object, const wchar_t* name) {
  std::wstring text = name;
  LPOLESTR names = text.data();
  DISPID id = DISPID_UNKNOWN;
  Variant value;
  HRESULT result = object->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id);
  if (SUCCEEDED(result)) result = CallName(object.Get(), id, DISPATCH_PROPERTYGET, value);
  Expect(SUCCEEDED(result) && V_VT(value.Get()) == VT_DISPATCH && V_DISPATCH(value.Get()), text,
         result);
  return ComPtr<IDispatch>(V_DISPATCH(value.Get()));
}

std::vector<CLSID> CreatableClasses() {
  std::vector<CLSID> classes;
  for (UINT i = 0; i < Library().Count(); ++i) {
    const auto attributes = AttributesOf(Library().Type(i));
    const bool creatable = (attributes->wTypeFlags & TYPEFLAG_FCANCREATE) != 0;
    if (attributes->typekind == TKIND_COCLASS && creatable) classes.push_back(attributes->guid);
  }
  return classes;
}

}  // namespace tarn::slots
