#include "automation/client_reference.hpp"

#include <chrono>
#include <future>
#include <utility>

#include "automation/parcel.hpp"

namespace tarn {
namespace {

/// Seconds that a client's Advise waits for the client's answer.
constexpr std::chrono::seconds kAdviseLimit{1};

/// A spreadsheet whose user is editing a cell answers the last one of the busy results.
constexpr HRESULT kIgnoredWhileEditing = static_cast<HRESULT>(0x800AC472);

/// What a call has for an outcome where the client turned out to have neither interface.
HRESULT WithoutInterface(HRESULT opened) {
  return opened == E_NOINTERFACE ? CO_E_OBJNOTCONNECTED : opened;
}

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

  /// Asks the client for the interface. Once.
  HRESULT Open(const ComPtr<IUnknown>& given, const IID& preferred) {
    const HRESULT result = given ? Ask(given, preferred) : RPC_E_DISCONNECTED;
    opened.set_value(result);
    return result;
  }
  HRESULT Ask(const ComPtr<IUnknown>& given, const IID& preferred) {
    const auto place = [this] { return reinterpret_cast<void**>(object.Receive()); };
    const HRESULT result = given->QueryInterface(preferred, place());
    hasPreferred = SUCCEEDED(result);
    return hasPreferred ? result : given->QueryInterface(IID_IDispatch, place());
  }

  std::shared_ptr<OutgoingCalls> calls;
  std::uint64_t apartment;
  ComPtr<IDispatch> object;
  bool hasPreferred = false;
  std::promise<HRESULT> opened;
  const std::shared_future<HRESULT> answer = opened.get_future();  ///< the result of Open
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
  const bool done = calls.Run(
      [proxy, outcome, preferred, parcel] {
        *outcome = proxy->Open(parcel->Open<IUnknown>(IID_IUnknown), preferred);
      },
      *made->apartment_);
  if (!done) return kTimedOut;
  if (SUCCEEDED(*outcome)) created = made;
  return *outcome;
}

HRESULT ClientReference::CreateHere(OutgoingCalls& calls, IUnknown* object, DWORD process,
                                    const IID& preferred,
                                    std::shared_ptr<ClientReference>& created) {
  // Marshalled only to see the apartment that it comes from.
  const Parcel parcel(object, IID_IUnknown);
  if (FAILED(parcel.Packed())) return parcel.Packed();
  const std::uint64_t client = parcel.Apartment();
  const auto proxy = std::make_shared<Proxy>(calls, client);
  created.reset(new ClientReference(calls, proxy, calls.Apartment(client, process)));
  calls.Later(client, [proxy, preferred, given = ComPtr<IUnknown>(object)] {
    proxy->Open(given, preferred);
  });
  if (proxy->answer.wait_for(kAdviseLimit) != std::future_status::ready) return S_OK;
  if (FAILED(proxy->answer.get())) created.reset();
  return proxy->answer.get();
}

HRESULT ClientReference::Run(std::function<HRESULT(IDispatch&)> work) {
  const auto outcome = std::make_shared<HRESULT>(kTimedOut);
  const bool done = calls_.Run(
      [proxy = proxy_, outcome, call = std::move(work)] {
        const HRESULT opened = proxy->answer.get();
        *outcome = FAILED(opened) ? WithoutInterface(opened) : call(*proxy->object.Get());
      },
      *apartment_);
  if (done) {
    if (OutcomeOf(*outcome) == CallOutcome::Done) calls_.Answered();
    return *outcome;
  }
  Lose();
  return kTimedOut;
}

HRESULT ClientReference::CallHere(DISPID id, std::vector<Variant>& arguments) {
  const HRESULT opened = proxy_->answer.get();
  if (FAILED(opened)) return WithoutInterface(opened);
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
  if (proxy_->answer.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return {};
  return ComPtr<IUnknown>(proxy_->object.Get());
}

bool ClientReference::HasPreferred() const {
  return proxy_->hasPreferred;
}

}  // namespace tarn
