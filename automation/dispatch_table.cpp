#include "automation/dispatch_table.hpp"

#include <algorithm>
#include <cstring>
#include <new>

#include "automation/com_errors.hpp"
#include "automation/com_values.hpp"

namespace tarn {
namespace {

struct ValueType {
  VARTYPE type;
  bool byReference;
};

ValueType Resolve(const ComPtr<ITypeInfo>& type, const TYPEDESC& description);

/// An interface by itself is marked VT_USERDEFINED; a pointer to it is what a variant holds.
ValueType ResolveNamed(const ComPtr<ITypeInfo>& type, HREFTYPE reference) {
  const auto target = TypeByReference(type, reference);
  const auto attributes = AttributesOf(target);
  switch (attributes->typekind) {
    case TKIND_ENUM:
      return {VT_I4, false};
    case TKIND_ALIAS:
      return Resolve(target, attributes->tdescAlias);
    case TKIND_RECORD:
      return {VT_RECORD, false};
    default:
      return {VT_USERDEFINED, false};
  }
}

ValueType Resolve(const ComPtr<ITypeInfo>& type, const TYPEDESC& description) {
  switch (description.vt) {
    case VT_USERDEFINED:
      return ResolveNamed(type, description.hreftype);
    case VT_PTR: {
      const ValueType target = Resolve(type, *description.lptdesc);
      if (target.type == VT_USERDEFINED) return {VT_DISPATCH, false};
      return {target.type, true};
    }
    case VT_SAFEARRAY:
      return {static_cast<VARTYPE>(VT_ARRAY | Resolve(type, *description.lptdesc).type), false};
    case VT_INT:
      return {VT_I4, false};
    case VT_UINT:
      return {VT_UI4, false};
    default:
      return {description.vt, false};
  }
}

bool IsArrayOfVariants(const VARIANT& value) {
  return V_VT(&value) == (VT_ARRAY | VT_VARIANT);
}

/// Scripts know arrays of Variants only.
HRESULT ConvertElements(VARIANT& value, VARTYPE elementType, LCID locale) {
  SAFEARRAY* from = V_ARRAY(&value);
  if (SafeArrayGetDim(from) != 1) return DISP_E_TYPEMISMATCH;
  LONG lower = 0;
  LONG upper = -1;
  SafeArrayGetLBound(from, 1, &lower);
  SafeArrayGetUBound(from, 1, &upper);
  Variant converted;
  V_ARRAY(converted.Get()) =
      SafeArrayCreateVector(elementType, lower, static_cast<ULONG>(upper - lower + 1));
  if (V_ARRAY(converted.Get()) == nullptr) return E_OUTOFMEMORY;
  V_VT(converted.Get()) = static_cast<VARTYPE>(VT_ARRAY | elementType);

  for (LONG i = lower; i <= upper; ++i) {
    Variant element;
    HRESULT result = SafeArrayGetElement(from, &i, element.Get());
    if (SUCCEEDED(result)) result = ConvertTo(elementType, *element.Get(), locale);
    if (FAILED(result)) return result;
    const bool isPointer = elementType == VT_BSTR || elementType == VT_DISPATCH;
    void* const place = isPointer ? static_cast<void*>(V_BSTR(element.Get()))
                                  : static_cast<void*>(&V_UI1(element.Get()));
    result = SafeArrayPutElement(V_ARRAY(converted.Get()), &i, place);
    if (FAILED(result)) return result;
  }
  VariantClear(&value);
  value = converted.Detach();
  return S_OK;
}

HRESULT Convert(VARIANT& value, VARTYPE type, LCID locale) {
  if (type == VT_VARIANT || V_VT(&value) == type) return S_OK;
  if ((type & VT_ARRAY) != 0 && IsArrayOfVariants(value)) {
    return ConvertElements(value, static_cast<VARTYPE>(type & ~VT_ARRAY), locale);
  }
  return ConvertTo(type, value, locale);
}

std::size_t SizeOf(VARTYPE type) {
  switch (type) {
    case VT_I1:
    case VT_UI1:
      return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
      return 2;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR:
      return 4;
    case VT_I8:
    case VT_UI8:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
      return 8;
    default:
      return 0;
  }
}

/// Writes the changed value back through the caller's reference, in the caller's type. A value that
/// does not convert leaves the caller's unchanged.
void WriteBack(VARIANT& target, Variant& value, LCID locale) {
  if ((V_VT(&target) & VT_BYREF) == 0 || V_BYREF(&target) == nullptr) return;
  const auto type = static_cast<VARTYPE>(V_VT(&target) & ~VT_BYREF);
  if (type == VT_VARIANT) {
    VariantClear(V_VARIANTREF(&target));
    *V_VARIANTREF(&target) = value.Detach();
    return;
  }
  if (FAILED(Convert(*value.Get(), type, locale))) return;
  if (type == VT_BSTR) {
    std::swap(*V_BSTRREF(&target), V_BSTR(value.Get()));
  } else if (type == VT_DISPATCH || type == VT_UNKNOWN) {
    std::swap(*V_UNKNOWNREF(&target), V_UNKNOWN(value.Get()));
  } else if ((type & VT_ARRAY) != 0) {
    std::swap(*V_ARRAYREF(&target), V_ARRAY(value.Get()));
  } else {
    std::memcpy(V_BYREF(&target), &V_UI1(value.Get()), SizeOf(type));
  }
}

/// The error object of the member that failed, as late-bound callers get it.
HRESULT Explain(HRESULT failure, EXCEPINFO* exception) {
  ComPtr<IErrorInfo> error;
  const bool explained = GetErrorInfo(0, error.Receive()) == S_OK;
  if (exception == nullptr) return DISP_E_EXCEPTION;
  *exception = EXCEPINFO{};
  exception->scode = failure;
  if (explained) {
    error->GetDescription(&exception->bstrDescription);
    error->GetSource(&exception->bstrSource);
  }
  return DISP_E_EXCEPTION;
}

}  // namespace

/// One call under way: the arguments in the parameters' types.
class DispatchTable::Call {
 public:
  Call(const Member& member, DISPPARAMS& arguments, LCID locale)
      : member_(member),
        arguments_(arguments),
        locale_(locale),
        sources_(member.parameters.size(), nullptr),
        values_(member.parameters.size()) {}

  HRESULT Prepare(UINT* badArgument) {
    const HRESULT result = Assign();
    if (FAILED(result)) return result;
    for (std::size_t i = 0; i < values_.size(); ++i) {
      const HRESULT converted = Fill(i);
      if (SUCCEEDED(converted)) continue;
      if (badArgument != nullptr && sources_[i] != nullptr) {
        *badArgument = static_cast<UINT>(sources_[i] - arguments_.rgvarg);
      }
      return converted;
    }
    return S_OK;
  }

  HRESULT Run(void* object) {
    std::vector<VARIANT> passed(values_.size());
    std::vector<VARTYPE> types(values_.size());
    std::vector<VARIANT*> places(values_.size());
    for (std::size_t i = 0; i < values_.size(); ++i) {
      const Parameter& parameter = member_.parameters[i];
      places[i] = &passed[i];
      types[i] = parameter.type;
      if (parameter.byReference) {
        types[i] = static_cast<VARTYPE>(parameter.type | VT_BYREF);
        V_VT(&passed[i]) = types[i];
        V_BYREF(&passed[i]) = parameter.type == VT_VARIANT
                                  ? static_cast<void*>(values_[i].Get())
                                  : static_cast<void*>(&V_UI1(values_[i].Get()));
      } else {
        passed[i] = *values_[i].Get();
      }
    }
    VARIANT returned;
    VariantInit(&returned);
    const HRESULT called =
        DispCallFunc(object, member_.offset, CC_STDCALL, VT_ERROR,
                     static_cast<UINT>(values_.size()), types.data(), places.data(), &returned);
    return FAILED(called) ? called : V_ERROR(&returned);
  }

  void GiveBack(VARIANT* result) {
    for (std::size_t i = 0; i < values_.size(); ++i) {
      const Parameter& parameter = member_.parameters[i];
      if (parameter.result && result != nullptr) *result = values_[i].Detach();
      if (parameter.byReference && sources_[i] != nullptr) {
        WriteBack(*sources_[i], values_[i], locale_);
      }
    }
  }

 private:
  /// Which argument goes to which parameter. They come last one first, the named ones in front.
  HRESULT Assign() {
    const std::size_t taken = static_cast<std::size_t>(
        std::count_if(member_.parameters.begin(), member_.parameters.end(),
                      [](const Parameter& parameter) { return !parameter.result; }));
    if (arguments_.cArgs > taken) return DISP_E_BADPARAMCOUNT;
    for (UINT i = 0; i < arguments_.cArgs; ++i) {
      std::size_t index = arguments_.cArgs - 1 - i;
      if (i < arguments_.cNamedArgs) {
        const DISPID name = arguments_.rgdispidNamedArgs[i];
        index = name == DISPID_PROPERTYPUT ? taken - 1 : static_cast<std::size_t>(name);
      }
      if (index >= taken || sources_[index] != nullptr) return DISP_E_PARAMNOTFOUND;
      sources_[index] = &arguments_.rgvarg[i];
    }
    return S_OK;
  }

  HRESULT Fill(std::size_t index) {
    const Parameter& parameter = member_.parameters[index];
    VARIANT& value = *values_[index].Get();
    if (parameter.result) {
      V_VT(&value) = parameter.type == VT_VARIANT ? static_cast<VARTYPE>(VT_EMPTY) : parameter.type;
      return S_OK;
    }
    if (sources_[index] != nullptr && !IsLeftOut(*sources_[index])) {
      const HRESULT copied = VariantCopyInd(&value, sources_[index]);
      return FAILED(copied) ? copied : Convert(value, parameter.type, locale_);
    }
    if (!parameter.optional) return DISP_E_PARAMNOTOPTIONAL;
    sources_[index] = nullptr;
    values_[index] = parameter.missing;
    return S_OK;
  }

  const Member& member_;
  DISPPARAMS& arguments_;
  LCID locale_;
  std::vector<VARIANT*> sources_;  ///< the caller's arguments by parameter
  std::vector<Variant> values_;
};

DispatchTable::DispatchTable(const TypeLibrary& library, const std::vector<IID>& interfaces) {
  for (const IID& iid : interfaces) {
    descriptions_.push_back(library.Type(iid));
    ReadMembers(descriptions_.back(), descriptions_.size() - 1);
  }
}

/// A dual interface is described twice; reference -1 leads from what scripts see to the slots.
void DispatchTable::ReadMembers(const ComPtr<ITypeInfo>& description, std::size_t slot) {
  ComPtr<ITypeInfo> slots = description;
  HREFTYPE reference = 0;
  if (SUCCEEDED(description->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference))) {
    slots = TypeByReference(description, reference);
  }
  const auto attributes = AttributesOf(slots);
  for (UINT i = 0; i < attributes->cFuncs; ++i) {
    const auto function = FunctionOf(slots, i);
    Member member;
    member.id = function->memid;
    member.kind = function->invkind;
    member.slot = slot;
    member.offset = static_cast<ULONG_PTR>(function->oVft);
    for (SHORT j = 0; j < function->cParams; ++j) {
      member.parameters.push_back(ReadParameter(slots, function->lprgelemdescParam[j]));
    }
    members_.push_back(std::move(member));
  }
}

DispatchTable::Parameter DispatchTable::ReadParameter(const ComPtr<ITypeInfo>& type,
                                                      const ELEMDESC& element) {
  Parameter parameter;
  const ValueType resolved = Resolve(type, element.tdesc);
  parameter.type = resolved.type;
  parameter.byReference = resolved.byReference;
  const USHORT flags = element.paramdesc.wParamFlags;
  parameter.result = (flags & PARAMFLAG_FRETVAL) != 0;
  parameter.optional = (flags & PARAMFLAG_FOPT) != 0;
  if ((flags & PARAMFLAG_FHASDEFAULT) != 0) {
    VariantCopy(parameter.missing.Get(), &element.paramdesc.pparamdescex->varDefaultValue);
    Convert(*parameter.missing.Get(), parameter.type, LOCALE_INVARIANT);
  } else if (parameter.type == VT_VARIANT) {
    V_VT(parameter.missing.Get()) = VT_ERROR;
    V_ERROR(parameter.missing.Get()) = DISP_E_PARAMNOTFOUND;
  } else {
    V_VT(parameter.missing.Get()) = parameter.type;  // zero, null
  }
  return parameter;
}

HRESULT DispatchTable::IdsOfNames(LPOLESTR* names, UINT count, DISPID* ids) const {
  HRESULT result = DISP_E_UNKNOWNNAME;
  for (const auto& description : descriptions_) {
    result = description->GetIDsOfNames(names, count, ids);
    if (result != DISP_E_UNKNOWNNAME || ids[0] != DISPID_UNKNOWN) return result;
  }
  return result;
}

std::set<std::wstring> DispatchTable::Names() const {
  std::set<std::wstring> names;
  for (const Member& member : members_) names.insert(NameOf(Description(), member.id));
  return names;
}

const DispatchTable::Member* DispatchTable::FindKind(DISPID id, INVOKEKIND kind) const {
  const auto member = std::find_if(members_.begin(), members_.end(), [&](const Member& candidate) {
    return candidate.id == id && candidate.kind == kind;
  });
  return member == members_.end() ? nullptr : &*member;
}

/// Some languages do not distinguish assigning an object from assigning a value, so one stands in
/// for the other where a property has but one of them.
const DispatchTable::Member* DispatchTable::Find(DISPID id, WORD flags) const {
  const Member* found = nullptr;
  if ((flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0) {
    const bool object = (flags & DISPATCH_PROPERTYPUTREF) != 0;
    found = FindKind(id, object ? INVOKE_PROPERTYPUTREF : INVOKE_PROPERTYPUT);
    if (!found) found = FindKind(id, object ? INVOKE_PROPERTYPUT : INVOKE_PROPERTYPUTREF);
    return found;
  }
  if ((flags & DISPATCH_METHOD) != 0) found = FindKind(id, INVOKE_FUNC);
  if (!found && (flags & DISPATCH_PROPERTYGET) != 0) found = FindKind(id, INVOKE_PROPERTYGET);
  return found;
}

/// A property that gives an object and takes nothing.
bool DispatchTable::IsCollection(const Member& member) {
  return member.kind == INVOKE_PROPERTYGET && member.parameters.size() == 1 &&
         member.parameters.front().type == VT_DISPATCH;
}

/// Arguments of such a property belong to the default member of its object: SDVariables("Total").
HRESULT DispatchTable::InvokeItem(void* const* slots, const Member& member, LCID locale, WORD flags,
                                  DISPPARAMS& arguments, VARIANT* result, EXCEPINFO* exception,
                                  UINT* badArgument) const {
  DISPPARAMS none{};
  Variant object;
  const HRESULT given = Invoke(slots, member.id, locale, DISPATCH_PROPERTYGET, none, object.Get(),
                               exception, badArgument);
  if (FAILED(given)) return given;
  if (V_DISPATCH(object.Get()) == nullptr) return DISP_E_BADPARAMCOUNT;
  return V_DISPATCH(object.Get())
      ->Invoke(DISPID_VALUE, IID_NULL, locale, flags, &arguments, result, exception, badArgument);
}

HRESULT DispatchTable::Invoke(void* const* slots, DISPID id, LCID locale, WORD flags,
                              DISPPARAMS& arguments, VARIANT* result, EXCEPINFO* exception,
                              UINT* badArgument) const {
  const Member* member = Find(id, flags);
  if (member == nullptr) return DISP_E_MEMBERNOTFOUND;
  try {
    if (IsCollection(*member) && arguments.cArgs > 0) {
      return InvokeItem(slots, *member, locale, flags, arguments, result, exception, badArgument);
    }
    Call call(*member, arguments, locale);
    const HRESULT prepared = call.Prepare(badArgument);
    if (FAILED(prepared)) return prepared;
    const HRESULT called = call.Run(slots[member->slot]);
    if (FAILED(called)) return Explain(called, exception);
    call.GiveBack(result);
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace tarn
