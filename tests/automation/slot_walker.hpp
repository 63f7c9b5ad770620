// Calls all members of an object through their slots, and compares with what they answer by name.
//
// The class of the object says which interfaces and events it must have.
#pragma once

#include <vector>

#include "automation/com_owners.hpp"

namespace tarn::slots {

/// Writes every property that is no object, and restores it. Objects that are assigned come from
/// `other`, an object of the same class, where it has them.
void Walk(const ComPtr<IDispatch>& object, const ComPtr<IDispatch>& other = {});

ComPtr<IDispatch> ObjectOf(const ComPtr<IDispatch>& object, const wchar_t* name);
/// The classes that clients may create, as the library lists them.
std::vector<CLSID> CreatableClasses();

}  // namespace tarn::slots
