// Calls every slot of an interface by its number and compares with what the same member answers by
// name.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <string>
#include <vector>

#include "automation/com_owners.hpp"

namespace tarn::slots {

/// A slot of an interface as the registered library describes it. The library itself is compared
/// with its published text by a test of its own, slots and all.
struct Member {
  int number;
  std::wstring name;
  INVOKEKIND kind;
  SHORT parameters;
  VARTYPE type;  ///< of the last parameter
};
std::vector<Member> MembersOf(const IID& iid);

bool Expect(bool fulfilled, const std::wstring& what, HRESULT result = S_OK);
Variant OfType(VARTYPE type);
Variant Number(VARTYPE type, double number);
Variant Object(IDispatch* object);
/// The address of what a variant holds, as an argument.
Variant AddressOf(Variant& value);
HRESULT CallSlot(IUnknown* object, int slot, std::vector<Variant> arguments);
/// The failure of a member itself, not that of the call by name.
HRESULT CallName(IDispatch* object, const wchar_t* name, WORD how, std::vector<Variant> arguments,
                 Variant& result);
Variant Read(IDispatch* object, const wchar_t* name);
bool Equal(Variant& left, Variant& right);

ComPtr<IUnknown> WalkSlots(const IID& iid, IDispatch* object, IDispatch* other,
                           const std::vector<int>& own);
/// Calls the slots of an interface in their order and returns it; none where it is missing. What is
/// set comes from another object of the class. The caller calls its `own` slots itself: those that
/// need arguments, and those that do not read back what was written.
template <class Interface>
ComPtr<Interface> Walk(const ComPtr<IDispatch>& object, const std::vector<int>& own = {},
                       const ComPtr<IDispatch>& other = {}) {
  return WalkSlots(__uuidof(Interface), object.Get(), other.Get(), own).template As<Interface>();
}

ComPtr<IDispatch> ObjectOf(IDispatch* object, const wchar_t* name);
ComPtr<IDispatch> Create(const CLSID& clsid);
bool Succeeds(HRESULT result, const std::wstring& what);
/// With the number of a run-time error.
bool Fails(HRESULT result, int number, const std::wstring& what);
/// A member with an index, and `array` slots from it the whole row: counts from 1, error 9 beyond.
void CheckRow(IUnknown* face, const Member& row, int array, SHORT count);
bool IsTrue(const Variant& value);

/// What the checks so far came to: the exit status.
int Report(const char* program);

}  // namespace tarn::slots
