#include "automation/type_library.hpp"
#include "automation/windows_error.hpp"
#include "platform/win32/win32_text.hpp"

#include <objbase.h>

#include <array>

namespace tarn {

std::wstring GuidText(const GUID& guid) {
  std::array<wchar_t, 40> text{};
  StringFromGUID2(guid, text.data(), static_cast<int>(text.size()));
  return text.data();
}

TypeAttributes AttributesOf(const ComPtr<ITypeInfo>& type) {
  TYPEATTR* attributes = nullptr;
  Check(type->GetTypeAttr(&attributes), "reading a type");
  return {attributes, [type](TYPEATTR* lent) { type->ReleaseTypeAttr(lent); }};
}

Function FunctionOf(const ComPtr<ITypeInfo>& type, UINT index) {
  FUNCDESC* function = nullptr;
  Check(type->GetFuncDesc(index, &function), "reading a member");
  return {function, [type](FUNCDESC* lent) { type->ReleaseFuncDesc(lent); }};
}

Variable VariableOf(const ComPtr<ITypeInfo>& type, UINT index) {
  VARDESC* variable = nullptr;
  Check(type->GetVarDesc(index, &variable), "reading a field");
  return {variable, [type](VARDESC* lent) { type->ReleaseVarDesc(lent); }};
}

std::wstring NameOf(const ComPtr<ITypeInfo>& type, MEMBERID member) {
  Bstr name;
  Check(type->GetDocumentation(member, name.Receive(), nullptr, nullptr, nullptr),
        "reading a name");
  return name.Text();
}

std::wstring HelpOf(const ComPtr<ITypeInfo>& type, MEMBERID member) {
  Bstr help;
  Check(type->GetDocumentation(member, nullptr, help.Receive(), nullptr, nullptr),
        "reading a help text");
  return help.Text();
}

ComPtr<ITypeInfo> TypeByReference(const ComPtr<ITypeInfo>& type, HREFTYPE reference) {
  ComPtr<ITypeInfo> target;
  Check(type->GetRefTypeInfo(reference, target.Receive()), "following a reference");
  return target;
}

TypeLibrary::TypeLibrary(const std::wstring& file) {
  const std::string text = "loading the type library " + FromWide(file);
  Check(LoadTypeLibEx(file.c_str(), REGKIND_NONE, library_.Receive()), text.c_str());
  TLIBATTR* attributes = nullptr;
  Check(library_->GetLibAttr(&attributes), text.c_str());
  attributes_ = {attributes,
                 [library = library_](TLIBATTR* lent) { library->ReleaseTLibAttr(lent); }};
}

std::wstring TypeLibrary::Name() const {
  Bstr name;
  Check(library_->GetDocumentation(-1, name.Receive(), nullptr, nullptr, nullptr),
        "reading the library's name");
  return name.Text();
}

std::wstring TypeLibrary::Help() const {
  Bstr help;
  Check(library_->GetDocumentation(-1, nullptr, help.Receive(), nullptr, nullptr),
        "reading the library's help text");
  return help.Text();
}

std::wstring TypeLibrary::Version() const {
  return std::to_wstring(attributes_->wMajorVerNum) + L"." +
         std::to_wstring(attributes_->wMinorVerNum);
}

ComPtr<ITypeInfo> TypeLibrary::Type(UINT index) const {
  ComPtr<ITypeInfo> type;
  Check(library_->GetTypeInfo(index, type.Receive()), "reading the library");
  return type;
}

ComPtr<ITypeInfo> TypeLibrary::Type(const GUID& guid) const {
  ComPtr<ITypeInfo> type;
  Check(library_->GetTypeInfoOfGuid(guid, type.Receive()), "reading the library");
  return type;
}

}  // namespace tarn
