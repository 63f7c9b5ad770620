// typelib_dump LIBRARY              prints a type library (a .tlb or a program) as text
// typelib_dump LIBRARY --compare FILE   compares it with a reviewed text; 1 when they differ
//
// The text names everything that clients are built with: slots, dispatch ids, kinds, arguments,
// types and flags, values of enumerations, layouts of records. A change of the published interface
// shows as a difference.
#include "automation/type_library.hpp"
#include "automation/windows_error.hpp"
#include "platform/win32/win32_text.hpp"

#include <objbase.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <sstream>
#include <vector>

namespace tarn {
namespace {

struct FlagName {
  unsigned flag;
  const char* name;
};

constexpr FlagName kTypeFlags[] = {
    {TYPEFLAG_FHIDDEN, "hidden"},
    {TYPEFLAG_FDUAL, "dual"},
    {TYPEFLAG_FOLEAUTOMATION, "oleautomation"},
    {TYPEFLAG_FNONEXTENSIBLE, "nonextensible"},
    {TYPEFLAG_FRESTRICTED, "restricted"},
    {TYPEFLAG_FAPPOBJECT, "appobject"},
    {TYPEFLAG_FCONTROL, "control"},
};

constexpr FlagName kMemberFlags[] = {
    {FUNCFLAG_FRESTRICTED, "restricted"},
    {FUNCFLAG_FHIDDEN, "hidden"},
    {FUNCFLAG_FSOURCE, "source"},
    {FUNCFLAG_FBINDABLE, "bindable"},
};

constexpr FlagName kClassFlags[] = {
    {IMPLTYPEFLAG_FDEFAULT, "default"},
    {IMPLTYPEFLAG_FSOURCE, "source"},
    {IMPLTYPEFLAG_FRESTRICTED, "restricted"},
};

template <std::size_t Count>
std::string Flags(unsigned flags, const FlagName (&names)[Count]) {
  std::string text;
  for (const FlagName& name : names) {
    if (flags & name.flag) text += std::string(" ") + name.name;
  }
  return text;
}

std::string Quoted(const std::wstring& help) {
  return help.empty() ? std::string() : " \"" + FromWide(help) + '"';
}

std::string TypeText(const ComPtr<ITypeInfo>& type, const TYPEDESC& description) {
  switch (description.vt) {
    case VT_I2:
      return "short";
    case VT_I4:
      return "long";
    case VT_R4:
      return "float";
    case VT_R8:
      return "double";
    case VT_BSTR:
      return "BSTR";
    case VT_DATE:
      return "DATE";
    case VT_CY:
      return "CURRENCY";
    case VT_UI1:
      return "unsigned char";
    case VT_BOOL:
      return "VARIANT_BOOL";
    case VT_VARIANT:
      return "VARIANT";
    case VT_DISPATCH:
      return "IDispatch*";
    case VT_UNKNOWN:
      return "IUnknown*";
    case VT_HRESULT:
      return "HRESULT";
    case VT_VOID:
      return "void";
    case VT_PTR:
      return TypeText(type, *description.lptdesc) + '*';
    case VT_SAFEARRAY:
      return "SAFEARRAY(" + TypeText(type, *description.lptdesc) + ')';
    case VT_USERDEFINED:
      return FromWide(NameOf(TypeByReference(type, description.hreftype)));
    case VT_CARRAY:
      return TypeText(type, description.lpadesc->tdescElem) + '[' +
             std::to_string(description.lpadesc->rgbounds[0].cElements) + ']';
    default:
      return "VARTYPE " + std::to_string(description.vt);
  }
}

/// Values of enumerations and defaults of arguments.
std::string ValueText(const VARIANT& value) {
  switch (value.vt) {
    case VT_BOOL:
      return value.boolVal ? "True" : "False";
    case VT_BSTR:
      return '"' + FromWide(std::wstring_view(value.bstrVal)) + '"';
    case VT_I2:
      return std::to_string(value.iVal);
    case VT_I4:
    case VT_INT:
      return std::to_string(value.lVal);
    default:
      return "value of VARTYPE " + std::to_string(value.vt);
  }
}

std::string ArgumentText(const ComPtr<ITypeInfo>& type, const ELEMDESC& argument,
                         const std::string& name) {
  const PARAMDESC& parameter = argument.paramdesc;
  constexpr FlagName kFlags[] = {{PARAMFLAG_FIN, "in"},
                                 {PARAMFLAG_FOUT, "out"},
                                 {PARAMFLAG_FRETVAL, "retval"},
                                 {PARAMFLAG_FOPT, "optional"}};
  std::string text = Flags(parameter.wParamFlags, kFlags);
  if (!text.empty()) text = '[' + text.substr(1) + "] ";
  text += TypeText(type, argument.tdesc);
  if (!name.empty()) text += ' ' + name;
  if (parameter.wParamFlags & PARAMFLAG_FHASDEFAULT) {
    text += " = " + ValueText(parameter.pparamdescex->varDefaultValue);
  }
  return text;
}

/// The loader gives offsets for the width of this program, whatever the library's.
std::size_t SlotOf(const FUNCDESC& function) {
  return static_cast<std::size_t>(function.oVft) / sizeof(void*);
}

const char* KindText(INVOKEKIND kind) {
  switch (kind) {
    case INVOKE_PROPERTYGET:
      return "get ";
    case INVOKE_PROPERTYPUT:
      return "let ";
    case INVOKE_PROPERTYPUTREF:
      return "set ";
    default:
      return "call";
  }
}

class Dump {
 public:
  Dump(const TypeLibrary& library, std::ostream& out) : library_(library), out_(out) {}

  void Run() {
    const TLIBATTR& attributes = library_.Attributes();
    out_ << "library " << FromWide(library_.Name()) << ' ' << FromWide(GuidText(attributes.guid))
         << " version " << FromWide(library_.Version()) << " language " << attributes.lcid
         << (attributes.syskind == SYS_WIN64 ? " win64" : " win32") << Quoted(library_.Help())
         << '\n';
    for (UINT index = 0; index < library_.Count(); ++index) PrintType(library_.Type(index));
  }

 private:
  void PrintType(const ComPtr<ITypeInfo>& type) {
    const TypeAttributes attributes = AttributesOf(type);
    switch (attributes->typekind) {
      case TKIND_ENUM:
        return PrintEnumeration(type, *attributes);
      case TKIND_RECORD:
        return PrintRecord(type, *attributes);
      case TKIND_DISPATCH:
        return PrintDispatch(type, *attributes);
      case TKIND_INTERFACE:
        return PrintInterface(type, *attributes);
      case TKIND_COCLASS:
        return PrintClass(type, *attributes);
      default:
        PrintHead("other", type, *attributes);
    }
  }

  void PrintHead(const char* kind, const ComPtr<ITypeInfo>& type, const TYPEATTR& attributes) {
    out_ << '\n'
         << kind << ' ' << FromWide(NameOf(type)) << ' ' << FromWide(GuidText(attributes.guid))
         << Flags(attributes.wTypeFlags, kTypeFlags);
  }

  void PrintEnumeration(const ComPtr<ITypeInfo>& type, const TYPEATTR& attributes) {
    PrintHead("enumeration", type, attributes);
    out_ << " size " << attributes.cbSizeInstance << Quoted(HelpOf(type)) << '\n';
    for (UINT index = 0; index < attributes.cVars; ++index) {
      const Variable value = VariableOf(type, index);
      out_ << "  " << FromWide(NameOf(type, value->memid)) << " = " << ValueText(*value->lpvarValue)
           << '\n';
    }
  }

  void PrintRecord(const ComPtr<ITypeInfo>& type, const TYPEATTR& attributes) {
    PrintHead("record", type, attributes);
    out_ << " size " << attributes.cbSizeInstance << " alignment " << attributes.cbAlignment
         << Quoted(HelpOf(type)) << '\n';
    for (UINT index = 0; index < attributes.cVars; ++index) {
      const Variable field = VariableOf(type, index);
      out_ << "  at " << field->oInst << "  " << FromWide(NameOf(type, field->memid)) << " As "
           << TypeText(type, field->elemdescVar.tdesc) << '\n';
    }
  }

  /// A dual interface is shown as early-bound clients see it, with its slots.
  void PrintDispatch(const ComPtr<ITypeInfo>& type, const TYPEATTR& attributes) {
    if (!(attributes.wTypeFlags & TYPEFLAG_FDUAL)) {
      PrintHead("events", type, attributes);
      out_ << Quoted(HelpOf(type)) << '\n';
      return PrintFunctions(type, attributes);
    }
    HREFTYPE reference = 0;
    Check(type->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference),
          "reading a dual interface");
    const ComPtr<ITypeInfo> face = TypeByReference(type, reference);
    PrintInterface(face, *AttributesOf(face));
  }

  void PrintInterface(const ComPtr<ITypeInfo>& type, const TYPEATTR& attributes) {
    PrintHead("interface", type, attributes);
    HREFTYPE base = 0;
    Check(type->GetRefTypeOfImplType(0, &base), "reading an interface's base");
    out_ << " : " << FromWide(NameOf(TypeByReference(type, base))) << Quoted(HelpOf(type)) << '\n';
    PrintFunctions(type, attributes);
  }

  void PrintFunctions(const ComPtr<ITypeInfo>& type, const TYPEATTR& attributes) {
    for (UINT index = 0; index < attributes.cFuncs; ++index) {
      PrintFunction(type, *FunctionOf(type, index));
    }
  }

  void PrintFunction(const ComPtr<ITypeInfo>& type, const FUNCDESC& function) {
    out_ << "  ";
    if (function.funckind == FUNC_PUREVIRTUAL) out_ << "slot " << SlotOf(function);
    out_ << "  id " << function.memid << "  " << KindText(function.invkind) << ' ';
    PrintSignature(type, function);
    out_ << Flags(function.wFuncFlags, kMemberFlags) << Quoted(HelpOf(type, function.memid))
         << '\n';
  }

  /// A call's result is its [retval] argument; what is not HRESULT underneath is shown as it is.
  void PrintSignature(const ComPtr<ITypeInfo>& type, const FUNCDESC& function) {
    const std::vector<std::string> names = ArgumentNames(type, function);
    out_ << TypeText(type, function.elemdescFunc.tdesc) << ' '
         << FromWide(NameOf(type, function.memid)) << '(';
    for (int index = 0; index < function.cParams; ++index) {
      out_ << (index ? ", " : "")
           << ArgumentText(type, function.lprgelemdescParam[index],
                           names[static_cast<std::size_t>(index)]);
    }
    out_ << ')';
  }

  /// A property's value has no name: libraries keep one list of names for all its accessors.
  std::vector<std::string> ArgumentNames(const ComPtr<ITypeInfo>& type, const FUNCDESC& function) {
    std::vector<BSTR> read(static_cast<std::size_t>(function.cParams) + 1);
    UINT count = 0;
    Check(type->GetNames(function.memid, read.data(), static_cast<UINT>(read.size()), &count),
          "reading the names of a member");
    std::vector<std::string> names;
    for (std::size_t index = 0; index < read.size(); ++index) {
      if (index > 0) names.push_back(index < count ? FromWide(std::wstring_view(read[index])) : "");
      SysFreeString(read[index]);
    }
    if (function.invkind != INVOKE_FUNC && !names.empty()) names.back().clear();
    return names;
  }

  void PrintClass(const ComPtr<ITypeInfo>& type, const TYPEATTR& attributes) {
    PrintHead("class", type, attributes);
    out_ << (attributes.wTypeFlags & TYPEFLAG_FCANCREATE ? " creatable" : " noncreatable")
         << Quoted(HelpOf(type)) << '\n';
    for (UINT index = 0; index < attributes.cImplTypes; ++index) {
      HREFTYPE reference = 0;
      INT flags = 0;
      Check(type->GetRefTypeOfImplType(index, &reference), "reading a class");
      Check(type->GetImplTypeFlags(index, &flags), "reading a class");
      out_ << "  " << FromWide(NameOf(TypeByReference(type, reference)))
           << Flags(static_cast<unsigned>(flags), kClassFlags) << '\n';
    }
  }

  const TypeLibrary& library_;
  std::ostream& out_;
};

std::vector<std::string> Lines(std::istream& text) {
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

int Compare(const std::string& dump, const wchar_t* fileName) {
  std::ifstream file(FromWide(fileName), std::ios::binary);
  if (!file) {
    std::cerr << "typelib_dump: cannot read " << FromWide(fileName) << '\n';
    return 2;
  }
  std::istringstream text(dump);
  const std::vector<std::string> reviewed = Lines(file), now = Lines(text);
  const auto [reviewedLine, nowLine] =
      std::mismatch(reviewed.begin(), reviewed.end(), now.begin(), now.end());
  if (reviewedLine == reviewed.end() && nowLine == now.end()) {
    std::cout << "typelib_dump: " << now.size() << " lines, as reviewed\n";
    return 0;
  }
  const auto show = [](const auto& line, const auto& lines) {
    return line == lines.end() ? std::string("(end)") : *line;
  };
  std::cerr << "The published interface differs from " << FromWide(fileName) << " at line "
            << reviewedLine - reviewed.begin() + 1
            << "\n  reviewed: " << show(reviewedLine, reviewed)
            << "\n  now:      " << show(nowLine, now) << '\n';
  return 1;
}

int Run(int count, wchar_t** arguments) {
  const bool compare = count == 4 && std::wstring_view(arguments[2]) == L"--compare";
  if (count != 2 && !compare) {
    std::cerr << "usage: typelib_dump LIBRARY [--compare FILE]\n";
    return 2;
  }
  const TypeLibrary library(arguments[1]);
  std::ostringstream text;
  Dump(library, text).Run();
  if (compare) return Compare(text.str(), arguments[3]);
  std::cout << text.str();
  return 0;
}

}  // namespace
}  // namespace tarn

int wmain(int count, wchar_t** arguments) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  int status = 2;
  try {
    status = tarn::Run(count, arguments);
  } catch (const std::exception& error) {
    std::cerr << "typelib_dump: " << error.what() << '\n';
  }
  CoUninitialize();
  return status;
}
