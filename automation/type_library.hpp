// Reading a type library: what registration and the dump need of it.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "automation/com_owners.hpp"

namespace tarn {

/// With braces, as the registry has it.
std::wstring GuidText(const GUID& guid);

/// The descriptions that a type information lends out are given back by these.
using TypeAttributes = std::unique_ptr<TYPEATTR, std::function<void(TYPEATTR*)>>;
using LibraryAttributes = std::unique_ptr<TLIBATTR, std::function<void(TLIBATTR*)>>;
using Function = std::unique_ptr<FUNCDESC, std::function<void(FUNCDESC*)>>;
using Variable = std::unique_ptr<VARDESC, std::function<void(VARDESC*)>>;

TypeAttributes AttributesOf(const ComPtr<ITypeInfo>& type);
Function FunctionOf(const ComPtr<ITypeInfo>& type, UINT index);
Variable VariableOf(const ComPtr<ITypeInfo>& type, UINT index);
std::wstring NameOf(const ComPtr<ITypeInfo>& type, MEMBERID member = MEMBERID_NIL);
std::wstring HelpOf(const ComPtr<ITypeInfo>& type, MEMBERID member = MEMBERID_NIL);
ComPtr<ITypeInfo> TypeByReference(const ComPtr<ITypeInfo>& type, HREFTYPE reference);

/// A library loaded from a .tlb or from the resources of a program ("X.exe", "X.exe\\2").
class TypeLibrary {
 public:
  /// Throws WindowsError.
  explicit TypeLibrary(const std::wstring& file);

  const TLIBATTR& Attributes() const { return *attributes_; }
  std::wstring Name() const;
  std::wstring Help() const;
  /// "1.0"
  std::wstring Version() const;
  UINT Count() const { return library_->GetTypeInfoCount(); }
  ComPtr<ITypeInfo> Type(UINT index) const;
  ComPtr<ITypeInfo> Type(const GUID& guid) const;

 private:
  ComPtr<ITypeLib> library_;
  LibraryAttributes attributes_;
};

}  // namespace tarn
