#include "automation/client_object.hpp"

#include <objbase.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <utility>

#include "automation/parcel.hpp"
#include "platform/win32/win32_handle.hpp"

namespace tarn {
namespace {

/// Where the standard reference to an object tells the apartment that the object lives in: behind
/// signature, flags, interface, reference flags and reference count.
constexpr std::size_t kFlagsAt = 4;
constexpr std::size_t kApartmentAt = 32;
constexpr std::uint32_t kStandardReference = 1;

std::uint64_t ApartmentIn(IStream& stream) {
  std::array<unsigned char, 40> head{};
  ULONG read = 0;
  const HRESULT result = stream.Read(head.data(), static_cast<ULONG>(head.size()), &read);
  stream.Seek({}, STREAM_SEEK_SET, nullptr);
  std::uint32_t flags = 0;
  std::memcpy(&flags, head.data() + kFlagsAt, sizeof flags);
  if (FAILED(result) || read < head.size() || flags != kStandardReference) return 0;
  std::uint64_t apartment = 0;
  std::memcpy(&apartment, head.data() + kApartmentAt, sizeof apartment);
  return apartment;
}

/// Asked while the client lives. Under Wine the upper half of the id is the process's; elsewhere it
/// is hardly ever that of a process.
std::string NameOf(std::uint64_t apartment) {
  const auto process = static_cast<DWORD>(apartment >> 32U);
  const OwnedHandle known(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
  if (known) return "client " + std::to_string(process);
  char text[32];
  std::snprintf(text, sizeof text, "client %llx", static_cast<unsigned long long>(apartment));
  return text;
}

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
    case ClientObject::kTimedOut:
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
      return CallOutcome::Done;  // what the client made of it is its own affair
  }
}

/// The reference in the other apartment, where alone it may be used and given back. The last owner
/// may be on either thread, so that is left to the calls' own threads.
struct ClientObject::Proxy {
  Proxy(OutgoingCalls& owner, std::uint64_t client)
      : calls(owner.shared_from_this()), apartment(client) {}
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;
  ~Proxy() {
    if (!object) return;
    calls->Later(apartment, [given = object.Detach()] { given->Release(); });
  }

  HRESULT Open(IStream* parcel, const IID& preferred) {
    ComPtr<IUnknown> given;
    const HRESULT result = CoGetInterfaceAndReleaseStream(
        parcel, IID_IUnknown, reinterpret_cast<void**>(given.Receive()));
    return FAILED(result) ? result : AskFor(*given.Get(), preferred);
  }
  HRESULT AskFor(IUnknown& given, const IID& preferred) {
    const auto place = [this] { return reinterpret_cast<void**>(object.Receive()); };
    const HRESULT result = given.QueryInterface(preferred, place());
    hasPreferred = SUCCEEDED(result);
    return hasPreferred ? result : given.QueryInterface(IID_IDispatch, place());
  }

  std::shared_ptr<OutgoingCalls> calls;
  std::uint64_t apartment;
  ComPtr<IDispatch> object;
  bool hasPreferred = false;
};

ClientObject::ClientObject(OutgoingCalls& calls, std::shared_ptr<Proxy> proxy,
                           std::shared_ptr<ClientApartment> apartment)
    : calls_(calls),
      proxy_(std::move(proxy)),
      apartment_(std::move(apartment)),
      name_(NameOf(apartment_->id)) {}

HRESULT ClientObject::Create(OutgoingCalls& calls, IUnknown* object, const IID& cameAs,
                             const IID& preferred, std::shared_ptr<ClientObject>& created) {
  ComPtr<IStream> stream;
  HRESULT result = CoMarshalInterThreadInterfaceInStream(cameAs, object, stream.Receive());
  if (FAILED(result)) return result;

  const std::uint64_t client = ApartmentIn(*stream.Get());
  const auto proxy = std::make_shared<Proxy>(calls, client);
  const std::shared_ptr<ClientObject> made(new ClientObject(calls, proxy, calls.Apartment(client)));
  const auto outcome = std::make_shared<HRESULT>(kTimedOut);
  const auto kept = std::make_shared<ComPtr<IUnknown>>();
  const bool done =
      calls.Run([proxy, outcome, preferred, kept,
                 given = stream.Detach()] { *outcome = proxy->Open(given, preferred); },
                made->Apartment());
  if (!done) {
    // The reference of the caller's argument would be given back at the end of its call, by a call
    // to the client that hangs. It is kept until that client has answered.
    *kept = ComPtr<IUnknown>(object);
    return kTimedOut;
  }
  if (SUCCEEDED(*outcome)) created = made;
  return *outcome;
}

HRESULT ClientObject::CreateHere(OutgoingCalls& calls, IUnknown* object, const IID& preferred,
                                 std::shared_ptr<ClientObject>& created) {
  // Marshalled only to see the apartment that it comes from.
  ComPtr<IStream> stream;
  HRESULT result = CoMarshalInterThreadInterfaceInStream(IID_IUnknown, object, stream.Receive());
  if (FAILED(result)) return result;
  const std::uint64_t client = ApartmentIn(*stream.Get());
  const auto proxy = std::make_shared<Proxy>(calls, client);
  result = proxy->Open(stream.Detach(), preferred);
  if (SUCCEEDED(result)) created.reset(new ClientObject(calls, proxy, calls.Apartment(client)));
  return result;
}

HRESULT ClientObject::Run(std::function<HRESULT(IDispatch&)> work) {
  const auto outcome = std::make_shared<HRESULT>(kTimedOut);
  const bool done = calls_.Run(
      [proxy = proxy_, outcome, call = std::move(work)] { *outcome = call(*proxy->object.Get()); },
      *apartment_);
  if (done) {
    if (OutcomeOf(*outcome) == CallOutcome::Done) calls_.Answered();
    return *outcome;
  }
  apartment_->lost = true;
  return kTimedOut;
}

HRESULT ClientObject::Call(DISPID id, const std::vector<Variant>& arguments) {
  return Run(
      [id, own = arguments](IDispatch& object) mutable { return InvokeMethod(object, id, own); });
}

HRESULT ClientObject::Call(const wchar_t* name, const std::vector<Variant>& arguments) {
  return Run([name = std::wstring(name), own = arguments](IDispatch& object) mutable {
    LPOLESTR names = name.data();
    DISPID id = DISPID_UNKNOWN;
    const HRESULT known = object.GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id);
    return FAILED(known) ? known : InvokeMethod(object, id, own);
  });
}

/// Each face comes in two parcels, so that the references which came with one can be passed on to a
/// client: with a single one COM would have to ask for more, on the core's thread.
ComPtr<IUnknown> ClientObject::ForThisApartment(const std::vector<IID>& faces) {
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
  return object;
}

ComPtr<IUnknown> ClientObject::ForCallsApartment() const {
  return ComPtr<IUnknown>(proxy_->object.Get());
}

bool ClientObject::HasPreferred() const {
  return proxy_->hasPreferred;
}

}  // namespace tarn
