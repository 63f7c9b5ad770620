// Late binding over the interfaces of an object.
//
// Names and members are read from the type library once for each class.
//
// A script sees one object, however many interfaces it has: names are looked up in each of them in
// turn, and no two of them use the same dispatch id. Arguments are converted here and the member is
// called through its slot, because the system's own way of doing so refuses by-reference arguments
// whose type is not exactly the parameter's.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "automation/com_owners.hpp"
#include "automation/type_library.hpp"

namespace tarn {

class DispatchTable {
 public:
  /// The dual interfaces in the order of the object's slots; names are looked up in this order too.
  DispatchTable(const TypeLibrary& library, const std::vector<IID>& interfaces);

  /// The description of the first interface, which stands for the object.
  const ComPtr<ITypeInfo>& Description() const { return descriptions_.front(); }

  HRESULT IdsOfNames(LPOLESTR* names, UINT count, DISPID* ids) const;
  /// The names of all members, of an object with one interface.
  std::set<std::wstring> Names() const;

  /// `slots` are the object's interfaces in the order of the constructor. An object argument is
  /// passed on unchanged, without asking it for the parameter's interface.
  HRESULT Invoke(void* const* slots, DISPID id, LCID locale, WORD flags, DISPPARAMS& arguments,
                 VARIANT* result, EXCEPINFO* exception, UINT* badArgument) const;

 private:
  struct Parameter {
    VARTYPE type = VT_EMPTY;
    bool byReference = false;
    bool optional = false;
    bool result = false;
    Variant missing;  ///< what stands for an argument that was left out
  };
  struct Member {
    DISPID id = 0;
    INVOKEKIND kind = INVOKE_FUNC;
    std::size_t slot = 0;
    ULONG_PTR offset = 0;  ///< of the member in its interface's table
    std::vector<Parameter> parameters;
  };
  class Call;

  void ReadMembers(const ComPtr<ITypeInfo>& description, std::size_t slot);
  static Parameter ReadParameter(const ComPtr<ITypeInfo>& type, const ELEMDESC& element);
  static bool IsCollection(const Member& member);
  HRESULT InvokeItem(void* const* slots, const Member& member, LCID locale, WORD flags,
                     DISPPARAMS& arguments, VARIANT* result, EXCEPINFO* exception,
                     UINT* badArgument) const;
  const Member* Find(DISPID id, WORD flags) const;
  const Member* FindKind(DISPID id, INVOKEKIND kind) const;

  std::vector<ComPtr<ITypeInfo>> descriptions_;
  std::vector<Member> members_;
};

}  // namespace tarn
