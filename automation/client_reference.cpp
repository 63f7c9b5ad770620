#include "automation/client_reference.hpp"

#include <utility>

#include "automation/parcel.hpp"

namespace tarn {
namespace {

/// A spreadsheet whose user is editing a cell answers the last one of the busy results.
constexpr HRESULT kIgnoredWhileEditing = static_cast<HRESULT>(0x800AC472);

HRESULT InvokeMethod(IDispatch& object, DISPID id, std::vector<Variant>& arguments) {
  std::vector<VARIANT> reversed;
  for (auto argument = arguments.rbegin(); argument != arguments.rend(); ++argument) {
    reversed.push_back(*argument->Get());
  }
  DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  Variant ignored;
  return object.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters,
                       ignored.Get(), nullptr, nullptr);
}

}  // namespace

CallOutcome OutcomeOf(HRESULT result) {
  switch (result) {
    case ClientReference::kTimedOut:
      return CallOutcome::TimedOut;
    case HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE):
    case HRESULT_FROM_WIN32(RPC_S_CALL_FAILED):
    case HRESULT_FROM_WIN32(RPC_S_CALL_FAILED_DNE):
    case RPC_E_SERVER_DIED:
    case RPC_E_SERVER_DIED_DNE:
      return CallOutcome::ProcessGone;
    case RPC_E_DISCONNECTED:
    case CO_E_OBJNOTCONNECTED:
      return CallOutcome::Gone;
    case RPC_E_CALL_REJECTED:
    case RPC_E_SERVERCALL_RETRYLATER:
    case RPC_E_SERVERCALL_REJECTED:
    case kIgnoredWhileEditing:
      return CallOutcome::Busy;
    default:
      return CallOutcome::Done;  // the result of the client's handler does not matter
  }
}

/// The reference in the other apartment, where alone it may be used and given back. The last owner
/// may be on either thread, so that is left to the calls' own threads.
struct ClientReference::Proxy {
  Proxy(OutgoingCalls& owner, std::uint64_t client)
      : calls(owner.shared_from_this()), apartment(client) {}
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;
  ~Proxy() {
    if (!object) return;
    calls->Later(apartment, [given = object.Detach()] { given->Release(); });
  }

  HRESULT Open(Parcel& parcel, const IID& preferred) {
    const auto given = parcel.Open<IUnknown>(IID_IUnknown);
    if (!given) return RPC_E_DISCONNECTED;
    const auto place = [this] { return reinterpret_cast<void**>(object.Receive()); };
    const HRESULT result = given->QueryInterface(preferred, place());
    hasPreferred = SUCCEEDED(result);
    return hasPreferred ? result : given->QueryInterface(IID_IDispatch, place());
  }

  std::shared_ptr<OutgoingCalls> calls;
  std::uint64_t apartment;
  ComPtr<IDispatch> object;
  bool hasPreferred = false;
};

ClientReference::ClientReference(OutgoingCalls& calls, std::shared_ptr<Proxy> proxy,
                                 std::shared_ptr<ClientApartment> apartment)
    : calls_(calls), proxy_(std::move(proxy)), apartment_(std::move(apartment)) {}

HRESULT ClientReference::Create(OutgoingCalls& calls, IUnknown* object, const IID& cameAs,
                                const IID& preferred, std::shared_ptr<ClientReference>& created) {
  const auto parcel = std::make_shared<Parcel>(object, cameAs);
  if (FAILED(parcel->Packed())) return parcel->Packed();

  const std::uint64_t client = parcel->Apartment();
  const auto proxy = std::make_shared<Proxy>(calls, client);
  const std::shared_ptr<ClientReference> made(
      new ClientReference(calls, proxy, calls.Apartment(client)));
  const auto outcome = std::make_shared<HRESULT>(kTimedOut);
  const bool done =
      calls.Run([proxy, outcome, preferred, parcel] { *outcome = proxy->Open(*parcel, preferred); },
                *made->apartment_);
  if (!done) return kTimedOut;
  if (SUCCEEDED(*outcome)) created = made;
  return *outcome;
}

HRESULT ClientReference::CreateHere(OutgoingCalls& calls, IUnknown* object, DWORD process,
                                    const IID& preferred,
                                    std::shared_ptr<ClientReference>& created) {
  // Marshalled only to see the apartment that it comes from.
  Parcel parcel(object, IID_IUnknown);
  if (FAILED(parcel.Packed())) return parcel.Packed();
  const std::uint64_t client = parcel.Apartment();
  const auto proxy = std::make_shared<Proxy>(calls, client);
  const HRESULT result = proxy->Open(parcel, preferred);
  if (SUCCEEDED(result)) {
    created.reset(new ClientReference(calls, proxy, calls.Apartment(client, process)));
  }
  return result;
}

HRESULT ClientReference::Run(std::function<HRESULT(IDispatch&)> work) {
  const auto outcome = std::make_shared<HRESULT>(kTimedOut);
  const bool done = calls_.Run(
      [proxy = proxy_, outcome, call = std::move(work)] { *outcome = call(*proxy->object.Get()); },
      *apartment_);
  if (done) {
    if (OutcomeOf(*outcome) == CallOutcome::Done) calls_.Answered();
    return *outcome;
  }
  Lose();
  return kTimedOut;
}

HRESULT ClientReference::CallHere(DISPID id, std::vector<Variant>& arguments) {
  const HRESULT result = InvokeMethod(*proxy_->object.Get(), id, arguments);
  if (OutcomeOf(result) == CallOutcome::Done) calls_.Answered();
  return result;
}

HRESULT ClientReference::Call(const wchar_t* name, const std::vector<Variant>& arguments) {
  return Run([name = std::wstring(name), own = arguments](IDispatch& object) mutable {
    LPOLESTR names = name.data();
    DISPID id = DISPID_UNKNOWN;
    const HRESULT known = object.GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id);
    return FAILED(known) ? known : InvokeMethod(object, id, own);
  });
}

/// Each face comes in two parcels, so that the references which came with one can be passed on to a
/// client: with a single one COM would have to ask for more, on the core's thread.
ComPtr<IUnknown> ClientReference::ForThisApartment(const std::vector<IID>& faces) {
  const auto parcels = std::make_shared<std::vector<std::pair<IID, Parcel>>>();
  const HRESULT result = Run([parcels, faces](IDispatch& object) {
    for (const IID& face : faces) {
      for (int i = 0; i < 2; ++i) parcels->emplace_back(face, Parcel(&object, face));
    }
    return S_OK;
  });
  ComPtr<IUnknown> object;
  if (FAILED(result)) return object;
  for (auto& [face, parcel] : *parcels) {
    const auto opened = parcel.Open<IUnknown>(face);
    if (!object) object = opened;
  }
  if (object) calls_.GiveBackLater(object.Get());
  return object;
}

ComPtr<IUnknown> ClientReference::ForCallsApartment() const {
  return ComPtr<IUnknown>(proxy_->object.Get());
}

bool ClientReference::HasPreferred() const {
  return proxy_->hasPreferred;
}

}  // namespace tarn
