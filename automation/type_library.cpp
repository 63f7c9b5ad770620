#include "automation/type_library.hpp"

#include <objbase.h>

#include <array>

namespace tarn {
namespace {

std::string Reason(HRESULT result) {
  wchar_t* text = nullptr;
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, static_cast<DWORD>(result), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  std::string reason = Utf8(std::wstring_view(text, length));
  LocalFree(text);
  while (!reason.empty() && (reason.back() == '\n' || reason.back() == '\r')) reason.pop_back();
  if (!reason.empty()) return reason;

  std::array<char, 32> number{};
  std::snprintf(number.data(), number.size(), "error 0x%08lX", static_cast<unsigned long>(result));
  return number.data();
}

}  // namespace

WindowsError::WindowsError(std::string text, HRESULT result)
    : text_(std::move(text)), result_(result) {}

void Check(HRESULT result, const char* text) {
  if (FAILED(result)) throw WindowsError(std::string(text) + ": " + Reason(result), result);
}

std::string Utf8(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int size =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
  return bytes;
}

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
  const std::string text = "loading the type library " + Utf8(file);
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
