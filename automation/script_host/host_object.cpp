#include "automation/script_host/host_object.hpp"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace tarn::script_host {
namespace {

Variant Converted(const Variant& value, VARTYPE type) {
  Variant converted;
  Check(VariantChangeType(converted.Get(), const_cast<VARIANT*>(value.Get()), VARIANT_ALPHABOOL,
                          type));
  return converted;
}

std::wstring TextFrom(const Variant& value) {
  const Variant text = Converted(value, VT_BSTR);
  return V_BSTR(text.Get()) ? V_BSTR(text.Get()) : L"";
}

LONG LongFrom(const Variant& value) {
  return V_I4(Converted(value, VT_I4).Get());
}

Variant ObjectValue(IDispatch* object) {
  Variant value;
  V_VT(value.Get()) = VT_DISPATCH;
  V_DISPATCH(value.Get()) = ComPtr<IDispatch>(object).Detach();
  return value;
}

IDispatch& ObjectIn(Variant& value) {
  if (V_VT(value.Get()) != VT_DISPATCH || !V_DISPATCH(value.Get())) throw DISP_E_TYPEMISMATCH;
  return *V_DISPATCH(value.Get());
}

void Need(const std::vector<Variant>& arguments, std::size_t least, std::size_t most) {
  if (arguments.size() < least || arguments.size() > most) throw DISP_E_BADPARAMCOUNT;
}

/// In UTF-8, and flushed, so that a reader of the output sees each line at once.
void PrintLine(const std::wstring& text) {
  const int length = static_cast<int>(text.size());
  std::string bytes(text.size() * 3, '\0');
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(),
                                       static_cast<int>(bytes.size()), nullptr, nullptr);
  std::printf("%.*s\n", size, bytes.data());
  std::fflush(stdout);
}

class ArgumentList final : public NamedMembers {
 public:
  explicit ArgumentList(std::vector<std::wstring> values)
      : NamedMembers({L"Item", L"Count", L"length"}), values_(std::move(values)) {}

 private:
  Variant Call(DISPID id, std::vector<Variant>& arguments) override {
    if (id == 2 || id == 3) return Variant(static_cast<LONG>(values_.size()));
    Need(arguments, 1, 1);
    const LONG index = LongFrom(arguments[0]);
    if (index < 0 || static_cast<std::size_t>(index) >= values_.size()) throw DISP_E_BADINDEX;
    return Variant(std::wstring_view(values_[static_cast<std::size_t>(index)]));
  }

  std::vector<std::wstring> values_;
};

constexpr DISPID kEcho = 1, kSleep = 2, kCreateObject = 3, kConnectObject = 4,
                 kDisconnectObject = 5, kQuit = 6, kArguments = 7, kScriptFullName = 8;

}  // namespace

STDMETHODIMP NamedMembers::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  std::fill_n(ids, count, DISPID_UNKNOWN);
  const auto known = std::find_if(names_.begin(), names_.end(), [&](const wchar_t* name) {
    return _wcsicmp(name, names[0]) == 0;
  });
  if (known == names_.end()) return DISP_E_UNKNOWNNAME;
  ids[0] = static_cast<DISPID>(known - names_.begin()) + 1;
  return count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
}

STDMETHODIMP NamedMembers::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* parameters,
                                  VARIANT* result, EXCEPINFO*, UINT*) {
  try {
    std::vector<Variant> arguments(parameters->cArgs);
    for (UINT i = 0; i < parameters->cArgs; ++i) {
      VariantCopyInd(arguments[parameters->cArgs - 1 - i].Get(), &parameters->rgvarg[i]);
    }
    const ComPtr<IDispatch> self(this);
    // The first member is the default one.
    Variant value = Call(id == DISPID_VALUE ? 1 : id, arguments);
    if (result) *result = value.Detach();
    return S_OK;
  } catch (HRESULT failure) {
    return failure;
  }
}

HostObject::HostObject(HostActions actions, std::wstring script,
                       std::vector<std::wstring> arguments)
    : NamedMembers({L"Echo", L"Sleep", L"CreateObject", L"ConnectObject", L"DisconnectObject",
                    L"Quit", L"Arguments", L"ScriptFullName"}),
      actions_(std::move(actions)),
      script_(std::move(script)) {
  *arguments_.Receive() = new ArgumentList(std::move(arguments));
}

Variant HostObject::Call(DISPID id, std::vector<Variant>& arguments) {
  switch (id) {
    case kEcho: {
      std::wstring line;
      for (const Variant& value : arguments) line += (line.empty() ? L"" : L" ") + TextFrom(value);
      PrintLine(line);
      return {};
    }
    case kSleep:
      Need(arguments, 1, 1);
      Sleep(static_cast<DWORD>(LongFrom(arguments[0])));
      return {};
    case kCreateObject:
      return CreateObject(arguments);
    case kConnectObject:
      Need(arguments, 2, 2);
      ConnectObject(ObjectIn(arguments[0]), TextFrom(arguments[1]));
      return {};
    case kDisconnectObject:
      Need(arguments, 1, 1);
      DisconnectObject(ObjectIn(arguments[0]));
      return {};
    case kQuit:
      Need(arguments, 0, 1);
      actions_.quit(arguments.empty() ? 0 : LongFrom(arguments[0]));
      throw E_ABORT;
    case kArguments: {
      // Basic passes the index of WScript.Arguments(0) here.
      if (arguments.empty()) return ObjectValue(arguments_.Get());
      DISPPARAMS index{arguments[0].Get(), nullptr, 1, 0};
      Variant value;
      const HRESULT result = arguments_->Invoke(DISPID_VALUE, IID_NULL, 0, DISPATCH_PROPERTYGET,
                                                &index, value.Get(), nullptr, nullptr);
      if (FAILED(result)) throw result;
      return value;
    }
    case kScriptFullName:
      return Variant(std::wstring_view(script_));
    default:
      throw DISP_E_MEMBERNOTFOUND;
  }
}

Variant HostObject::CreateObject(std::vector<Variant>& arguments) {
  Need(arguments, 1, 2);
  CLSID clsid;
  HRESULT result = CLSIDFromProgID(TextFrom(arguments[0]).c_str(), &clsid);
  if (FAILED(result)) throw result;
  ComPtr<IDispatch> object;
  result = CoCreateInstance(clsid, nullptr, CLSCTX_SERVER, IID_IDispatch,
                            reinterpret_cast<void**>(object.Receive()));
  if (FAILED(result)) throw result;
  if (arguments.size() == 2) ConnectObject(*object.Get(), TextFrom(arguments[1]));
  return ObjectValue(object.Get());
}

void HostObject::ConnectObject(IDispatch& object, const std::wstring& prefix) {
  connections_.push_back(std::make_unique<EventConnection>(
      object, [this, prefix](const std::wstring& event, DISPPARAMS& arguments) {
        return actions_.raise(prefix + event, arguments);
      }));
}

void HostObject::DisconnectObject(IDispatch& object) {
  const auto first =
      std::stable_partition(connections_.begin(), connections_.end(),
                            [&](const auto& connection) { return !connection->IsOf(object); });
  // Out of the list first: letting go lets calls in.
  const std::vector<std::unique_ptr<EventConnection>> ended(
      std::make_move_iterator(first), std::make_move_iterator(connections_.end()));
  connections_.erase(first, connections_.end());
}

void HostObject::DisconnectAll() {
  const auto ended = std::exchange(connections_, {});
}

void HostObject::Sleep(DWORD milliseconds) {
  const ULONGLONG end = GetTickCount64() + milliseconds;
  while (!actions_.quitting()) {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
    const ULONGLONG now = GetTickCount64();
    if (now >= end || actions_.quitting()) break;
    MsgWaitForMultipleObjectsEx(0, nullptr, static_cast<DWORD>(end - now), QS_ALLINPUT,
                                MWMO_INPUTAVAILABLE);
  }
  if (actions_.quitting()) throw E_ABORT;
}

}  // namespace tarn::script_host
