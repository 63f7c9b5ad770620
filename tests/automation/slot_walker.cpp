#include "tests/automation/slot_walker.hpp"

#include <algorithm>
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

/// One object with the interface under test, and another of its class to take objects from.
struct Subject {
  std::wstring name;
  IDispatch* object;
  IDispatch* other;
};

void CheckGet(const Subject& subject, IUnknown* face, const Member& member) {
  Variant early = OfType(member.type);
  const HRESULT result = CallSlot(face, member.number, {AddressOf(early)});
  const std::wstring what = subject.name + L".get " + member.name;
  if (!Expect(SUCCEEDED(result), what, result)) return;
  Variant late = Read(subject.object, member.name.c_str());
  Expect(Equal(early, late), what + L" differs from the value by name");
}

/// A let writes another value, a set the other object's.
void CheckPut(const Subject& subject, IUnknown* face, const Member& member) {
  const bool isSet = member.kind == INVOKE_PROPERTYPUTREF;
  const std::wstring what = subject.name + (isSet ? L".set " : L".let ") + member.name;
  const wchar_t* name = member.name.c_str();
  Variant old = Read(subject.object, name);
  if (isSet && !Expect(subject.other, what + L" has nothing to set")) return;
  Variant value = isSet ? Read(subject.other, name) : Different(old, member.type);
  if (isSet && !Expect(Identity(value).Get(), what + L" has nothing to set")) return;
  const HRESULT result = CallSlot(face, member.number, {value});
  if (!Expect(SUCCEEDED(result), what, result)) return;
  Variant late = Read(subject.object, name);
  Expect(Equal(value, late), what + L" is not what the name reads");
  if (isSet && !Identity(old)) return;
  Variant restored;
  VariantChangeType(restored.Get(), old.Get(), 0, member.type);
  CallSlot(face, member.number, {restored});
}

void CheckCall(const Subject& subject, IUnknown* face, const Member& member) {
  Variant ignored;
  const HRESULT early = CallSlot(face, member.number, {});
  const HRESULT late = CallName(subject.object, member.name.c_str(), DISPATCH_METHOD, {}, ignored);
  Expect(early == late, subject.name + L"." + member.name, early);
}

void Check(const Subject& subject, IUnknown* face, const Member& member) {
  if (member.kind == INVOKE_FUNC && member.parameters == 0) return CheckCall(subject, face, member);
  if (!Expect(member.kind != INVOKE_FUNC && member.parameters == 1,
              subject.name + L"." + member.name + L" needs arguments of its own")) {
    return;
  }
  if (member.kind == INVOKE_PROPERTYGET) return CheckGet(subject, face, member);
  CheckPut(subject, face, member);
}

ComPtr<ITypeLib> Library() {
  // {2E5AF1A8-4271-4EEC-9868-56F07055D47D}, as the interface's dump tells.
  const GUID library = {
      0x2E5AF1A8, 0x4271, 0x4EEC, {0x98, 0x68, 0x56, 0xF0, 0x70, 0x55, 0xD4, 0x7D}};
  ComPtr<ITypeLib> types;
  LoadRegTypeLib(library, 1, 0, 0, types.Receive());
  return types;
}

/// What a parameter is, or what its pointer leads to: an object or a plain type.
VARTYPE TypeOf(ITypeInfo* type, const TYPEDESC* description) {
  while (description->vt == VT_PTR) description = description->lptdesc;
  if (description->vt != VT_USERDEFINED) return description->vt;
  ComPtr<ITypeInfo> named;
  TYPEATTR* attributes = nullptr;
  type->GetRefTypeInfo(description->hreftype, named.Receive());
  named->GetTypeAttr(&attributes);
  const VARTYPE found = attributes->typekind == TKIND_ENUM ? VT_I4 : VT_DISPATCH;
  named->ReleaseTypeAttr(attributes);
  return found;
}

Member MemberAt(ITypeInfo* type, UINT index) {
  FUNCDESC* function = nullptr;
  type->GetFuncDesc(index, &function);
  Bstr name;
  UINT found = 0;
  type->GetNames(function->memid, name.Receive(), 1, &found);
  const SHORT count = function->cParams;
  const Member member{
      function->oVft / static_cast<int>(sizeof(void*)), name.Text(), function->invkind, count,
      count > 0 ? TypeOf(type, &function->lprgelemdescParam[count - 1].tdesc) : VARTYPE{VT_EMPTY}};
  type->ReleaseFuncDesc(function);
  return member;
}

/// The interface behind the dispatch interface of the library.
ComPtr<ITypeInfo> InterfaceOf(const IID& iid) {
  static const ComPtr<ITypeLib> library = Library();
  ComPtr<ITypeInfo> dispatch, type;
  HREFTYPE reference = 0;
  Expect(library && SUCCEEDED(library->GetTypeInfoOfGuid(iid, dispatch.Receive())) &&
             SUCCEEDED(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference)) &&
             SUCCEEDED(dispatch->GetRefTypeInfo(reference, type.Receive())),
         L"an interface in the library");
  return type;
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

std::vector<Member> MembersOf(const IID& iid) {
  std::vector<Member> members;
  const auto type = InterfaceOf(iid);
  if (!type) return members;
  TYPEATTR* attributes = nullptr;
  type->GetTypeAttr(&attributes);
  for (UINT i = 0; i < attributes->cFuncs; ++i) members.push_back(MemberAt(type.Get(), i));
  type->ReleaseTypeAttr(attributes);
  return members;
}

ComPtr<IUnknown> WalkSlots(const IID& iid, IDispatch* object, IDispatch* other,
                           const std::vector<int>& own) {
  Subject subject{L"?", object, other};
  Bstr name;
  if (const auto type = InterfaceOf(iid)) {
    type->GetDocumentation(MEMBERID_NIL, name.Receive(), nullptr, nullptr, nullptr);
    subject.name = name.Text();
  }
  auto face = ComPtr<IDispatch>(object).As<IUnknown>(iid);
  if (!Expect(static_cast<bool>(face), subject.name + L" is there")) return face;
  for (const Member& member : MembersOf(iid)) {
    if (std::find(own.begin(), own.end(), member.number) == own.end()) {
      Check(subject, face.Get(), member);
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

bool Succeeds(HRESULT result, const std::wstring& what) {
  return Expect(SUCCEEDED(result), what, result);
}

bool Fails(HRESULT result, int number, const std::wstring& what) {
  return Expect(result == MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, number), what, result);
}

void CheckRow(IUnknown* face, const Member& row, int array, SHORT count) {
  for (const SHORT index : {SHORT{0}, count, static_cast<SHORT>(count + 1)}) {
    Variant value = OfType(row.type);
    const HRESULT result = CallSlot(face, row.number, {Number(VT_I2, index), AddressOf(value)});
    const bool inside = index >= 1 && index <= count;
    inside ? Succeeds(result, row.name) : Fails(result, 9, row.name);
  }
  Variant all = OfType(static_cast<VARTYPE>(VT_ARRAY | row.type));
  if (!Succeeds(CallSlot(face, row.number + array, {AddressOf(all)}), row.name + L" as a row")) {
    return;
  }
  LONG first = 0;
  LONG last = -1;
  VARTYPE type = VT_EMPTY;
  SafeArrayGetLBound(V_ARRAY(all.Get()), 1, &first);
  SafeArrayGetUBound(V_ARRAY(all.Get()), 1, &last);
  SafeArrayGetVartype(V_ARRAY(all.Get()), &type);
  Expect(first == 1 && last == count && type == row.type, row.name + L" as a row");
}

bool IsTrue(const Variant& value) {
  return V_BOOL(value.Get()) != VARIANT_FALSE;
}

int Report(const char* program) {
  std::printf("All of %s: %d checks, %d wrong\n", program, checks, failures);
  return failures == 0 ? 0 : 1;
}

}  // namespace tarn::slots
