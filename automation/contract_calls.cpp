#include "automation/contract_calls.hpp"

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <utility>

#include "automation/com_errors.hpp"
#include "automation/parcel.hpp"
#include "base/automation_error.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {
namespace {

bool IsObject(const Variant& value) {
  const VARTYPE type = V_VT(value.Get());
  return (type == VT_DISPATCH || type == VT_UNKNOWN) && V_UNKNOWN(value.Get()) != nullptr;
}

/// Puts the object of a value into a parcel.
Parcel Pack(Variant& value) {
  if (!IsObject(value)) return {};
  Parcel parcel(V_UNKNOWN(value.Get()), IID_IDispatch);
  value = Variant();
  V_VT(value.Get()) = VT_DISPATCH;
  return parcel;
}

void Unpack(Parcel& parcel, Variant& value) {
  if (V_VT(value.Get()) == VT_DISPATCH) {
    V_DISPATCH(value.Get()) = parcel.Open<IDispatch>(IID_IDispatch).Detach();
  }
}

/// All that a call needs, since it goes on alone when the client does not return.
struct Exchange {
  DISPID id = 0;
  WORD how = 0;
  const DispatchTable* members = nullptr;  ///< the module's
  std::wstring name;                       ///< for late binding, else empty
  std::vector<Variant> arguments;
  std::vector<Parcel> objects;
  bool byReference = false;
  VARTYPE wanted = VT_EMPTY;
  Variant result;
  Parcel resultObject;
  Bstr description;
};

HRESULT InvokeMember(IDispatch& object, Exchange& call, DISPPARAMS& parameters,
                     EXCEPINFO& exception) {
  VARIANT* const result = call.how == DISPATCH_PROPERTYPUT || call.how == DISPATCH_PROPERTYPUTREF
                              ? nullptr
                              : call.result.Get();
  if (call.name.empty()) {
    void* const slots[] = {&object};
    return call.members->Invoke(slots, call.id, LOCALE_USER_DEFAULT, call.how, parameters, result,
                                &exception, nullptr);
  }
  LPOLESTR names = call.name.data();
  DISPID id = DISPID_UNKNOWN;
  const HRESULT known = object.GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id);
  if (FAILED(known)) return known;
  const auto invoke = [&](WORD how) {
    return object.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, how, &parameters, result, &exception,
                         nullptr);
  };
  const HRESULT invoked = invoke(call.how);
  // A script may have a function where the contract has a property, and the other way.
  return invoked == DISP_E_MEMBERNOTFOUND && result ? invoke(DISPATCH_METHOD | DISPATCH_PROPERTYGET)
                                                    : invoked;
}

/// Deliberately asks an object for its value: here, in the other apartment, the client may take its
/// time.
HRESULT Convert(Variant& value, VARTYPE type) {
  if (V_VT(value.Get()) == type) return S_OK;
  Variant converted;
  const bool isValue = type != VT_EMPTY && type != VT_DISPATCH;
  const HRESULT result = isValue ? VariantChangeType(converted.Get(), value.Get(), 0, type) : S_OK;
  value = std::move(converted);
  return FAILED(result) ? ResultOfError(static_cast<int>(ErrorNumber::TypeMismatch)) : S_OK;
}

/// In the other apartment.
HRESULT Carry(IDispatch& object, Exchange& call) {
  std::vector<VARIANT> reversed;
  for (std::size_t i = call.arguments.size(); i-- > 0;) {
    Unpack(call.objects[i], call.arguments[i]);
    reversed.push_back(*call.arguments[i].Get());
  }
  if (call.byReference) {
    // Scripts know references to variants only.
    const bool late = !call.name.empty();
    VARIANT& value = *call.arguments[0].Get();
    const VARTYPE type = late ? VARTYPE{VT_VARIANT} : V_VT(&value);
    V_VT(&reversed[0]) = static_cast<VARTYPE>(type | VT_BYREF);
    V_BYREF(&reversed[0]) = late ? static_cast<void*>(&value) : static_cast<void*>(&V_R8(&value));
  }
  DISPID value = DISPID_PROPERTYPUT;
  const bool writes = call.how == DISPATCH_PROPERTYPUT || call.how == DISPATCH_PROPERTYPUTREF;
  DISPPARAMS parameters{reversed.data(), writes ? &value : nullptr,
                        static_cast<UINT>(reversed.size()), writes ? 1U : 0U};
  EXCEPINFO exception{};
  HRESULT result = InvokeMember(object, call, parameters, exception);
  if (result == DISP_E_EXCEPTION) {
    if (exception.pfnDeferredFillIn != nullptr) exception.pfnDeferredFillIn(&exception);
    result = exception.scode != S_OK ? exception.scode : ResultOfError(exception.wCode);
  }
  *call.description.Receive() = exception.bstrDescription;
  SysFreeString(exception.bstrSource);
  SysFreeString(exception.bstrHelpFile);
  const HRESULT answered =
      Convert(call.result, SUCCEEDED(result) ? call.wanted : VARTYPE{VT_EMPTY});
  if (SUCCEEDED(result)) result = answered;
  if (call.byReference && SUCCEEDED(result)) result = Convert(call.arguments[0], VT_R8);
  for (Variant& argument : call.arguments) {
    if (IsObject(argument)) argument = Variant();
  }
  call.resultObject = Pack(call.result);
  return result;
}

}  // namespace

ContractCalls::ContractCalls(ComModule& module, const IID& contract,
                             std::shared_ptr<ClientReference> client)
    : module_(module),
      contract_(contract),
      members_(module.MembersOf(contract, {contract})),
      client_(std::move(client)) {}

std::shared_ptr<ContractCalls> ContractCalls::Create(ComModule& module, IUnknown* object,
                                                     const IID& contract) {
  std::shared_ptr<ClientReference> client;
  if (FAILED(ClientReference::Create(module.CallsOut(), object, module.CameAs(object, contract),
                                     contract, client))) {
    ThrowTypeMismatch();
  }
  std::shared_ptr<ContractCalls> made(new ContractCalls(module, contract, std::move(client)));
  if (!made->client_->HasPreferred() && !made->HasAllNames()) ThrowTypeMismatch();
  return made;
}

bool ContractCalls::HasAllNames() {
  const HRESULT result = client_->Run([names = members_.Names()](IDispatch& object) {
    HRESULT known = S_OK;
    for (std::wstring name : names) {
      LPOLESTR text = name.data();
      DISPID id = DISPID_UNKNOWN;
      if (SUCCEEDED(known)) {
        known = object.GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id);
      }
    }
    return known;
  });
  return SUCCEEDED(result);
}

bool ContractCalls::Implements(const IID& iid) {
  if (!client_->HasPreferred()) return false;
  const HRESULT result = client_->Run([iid](IDispatch& object) {
    ComPtr<IUnknown> face;
    return object.QueryInterface(iid, reinterpret_cast<void**>(face.Receive()));
  });
  return SUCCEEDED(result);
}

Variant ContractCalls::Call(DISPID id, WORD how, std::vector<Variant> arguments, VARTYPE wanted,
                            Variant* changed) {
  const auto self = shared_from_this();
  if (IsGone()) ThrowObjectNotSet("The client that gave the object is gone");
  const auto call = std::make_shared<Exchange>();
  call->id = id;
  call->how = how;
  call->members = &members_;
  if (!client_->HasPreferred()) call->name = tarn::NameOf(members_.Description(), id);
  call->arguments = std::move(arguments);
  for (Variant& argument : call->arguments) call->objects.push_back(Pack(argument));
  call->byReference = changed != nullptr;
  call->wanted = wanted;
  const HRESULT result = client_->Run([call](IDispatch& object) { return Carry(object, *call); });
  if (FAILED(result)) Fail(result, call->description.Text());
  if (changed != nullptr) *changed = std::move(call->arguments[0]);
  Unpack(call->resultObject, call->result);
  if (IsObject(call->result)) module_.MindForeign(V_UNKNOWN(call->result.Get()));
  return call->result;
}

void ContractCalls::Fail(HRESULT result, const std::wstring& description) {
  const CallOutcome outcome = OutcomeOf(result);
  if (outcome == CallOutcome::ProcessGone) client_->Lose();
  if (outcome == CallOutcome::Gone) gone_ = true;
  if (IsGone()) ThrowObjectNotSet("The client that gave the object is gone: " + client_->Name());

  char number[16];
  std::snprintf(number, sizeof number, "%08lX", static_cast<unsigned long>(result));
  const std::string text = description.empty()
                               ? std::string("An object of a client fails: ") + number
                               : FromWide(description);
  if (HRESULT_FACILITY(result) != FACILITY_CONTROL) throw std::runtime_error(text);
  throw AutomationError(ErrorNumber{HRESULT_CODE(result)}, text);
}

Variant ContractCalls::TryCall(DISPID id, WORD how, std::vector<Variant> arguments,
                               VARTYPE wanted) noexcept {
  const auto self = shared_from_this();
  try {
    if (!IsGone()) return Call(id, how, std::move(arguments), wanted);
  } catch (const std::exception& error) {
    module_.System().Trace(error.what());
  }
  return {};
}

ComPtr<IUnknown> ContractCalls::Own() {
  if (IsGone()) return {};
  std::vector<IID> faces{IID_IDispatch};
  if (client_->HasPreferred()) faces.insert(faces.begin(), contract_);
  return client_->ForThisApartment(faces);
}

}  // namespace tarn
