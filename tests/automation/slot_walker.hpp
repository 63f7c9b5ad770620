// Calls every slot of an interface by its number and compares with what the same member answers by
// name.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <string>
#include <vector>

#include "automation/com_owners.hpp"

namespace tarn::slots {

enum class Kind { Get, Let, Set, Call, Own };

/// Own: called with its arguments by the table's own code. Reads and writes of the others are
/// generic.
struct Slot {
  int number;
  Kind kind;
  const wchar_t* name;
  VARTYPE type = VT_EMPTY;
};

/// One object with the interface under test, and another of its class to take objects from.
struct Subject {
  const wchar_t* name;
  IID iid;
  ComPtr<IDispatch> object;
  ComPtr<IDispatch> other;
};

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
/// Walks the slots in the order of the table and returns the interface; none where it is missing.
ComPtr<IUnknown> Walk(const Subject& subject, const std::vector<Slot>& slots);
ComPtr<IDispatch> ObjectOf(IDispatch* object, const wchar_t* name);
ComPtr<IDispatch> Create(const CLSID& clsid);
void CheckSuccess(IUnknown* face, int slot, std::vector<Variant> arguments, const wchar_t* what);
void CheckBasicError(IUnknown* face, int slot, std::vector<Variant> arguments, int number,
                     const wchar_t* what);
bool IsTrue(const Variant& value);

/// What the checks so far came to: the exit status.
int Report(const char* program);

}  // namespace tarn::slots
