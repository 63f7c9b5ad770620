#include "automation/client_object.hpp"

#include <objbase.h>

#include <array>
#include <cstring>
#include <utility>

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

HRESULT AskFor(IUnknown& object, const IID& preferred, IDispatch** found) {
  const HRESULT result = object.QueryInterface(preferred, reinterpret_cast<void**>(found));
  if (SUCCEEDED(result)) return result;
  return object.QueryInterface(IID_IDispatch, reinterpret_cast<void**>(found));
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

  std::shared_ptr<OutgoingCalls> calls;
  std::uint64_t apartment;
  ComPtr<IDispatch> object;
};

ClientObject::ClientObject(OutgoingCalls& calls, std::shared_ptr<Proxy> proxy,
                           std::shared_ptr<ClientApartment> apartment)
    : calls_(calls), proxy_(std::move(proxy)), apartment_(std::move(apartment)) {}

HRESULT ClientObject::Create(OutgoingCalls& calls, IUnknown* object, const IID& preferred,
                             std::shared_ptr<ClientObject>& created) {
  ComPtr<IStream> stream;
  HRESULT result = CoMarshalInterThreadInterfaceInStream(IID_IUnknown, object, stream.Receive());
  if (FAILED(result)) return result;

  const std::uint64_t client = ApartmentIn(*stream.Get());
  const auto proxy = std::make_shared<Proxy>(calls, client);
  const std::shared_ptr<ClientObject> made(new ClientObject(calls, proxy, calls.Apartment(client)));
  const auto outcome = std::make_shared<HRESULT>(kTimedOut);
  const bool done = calls.Run(
      [proxy, outcome, preferred, given = stream.Detach()] {
        ComPtr<IUnknown> unknown;
        *outcome = CoGetInterfaceAndReleaseStream(given, IID_IUnknown,
                                                  reinterpret_cast<void**>(unknown.Receive()));
        if (SUCCEEDED(*outcome)) {
          *outcome = AskFor(*unknown.Get(), preferred, proxy->object.Receive());
        }
      },
      made->Apartment());
  if (!done) return kTimedOut;
  if (SUCCEEDED(*outcome)) created = made;
  return *outcome;
}

HRESULT ClientObject::Run(std::function<HRESULT(IDispatch&)> work) {
  const auto outcome = std::make_shared<HRESULT>(kTimedOut);
  const bool done = calls_.Run(
      [proxy = proxy_, outcome, call = std::move(work)] { *outcome = call(*proxy->object.Get()); },
      *apartment_);
  if (done) return *outcome;
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

ComPtr<IUnknown> ClientObject::ForThisApartment() {
  const auto stream = std::make_shared<ComPtr<IStream>>();
  const HRESULT result = Run([stream](IDispatch& object) {
    return CoMarshalInterThreadInterfaceInStream(IID_IUnknown, &object, stream->Receive());
  });
  ComPtr<IUnknown> object;
  if (SUCCEEDED(result)) {
    CoGetInterfaceAndReleaseStream(stream->Detach(), IID_IUnknown,
                                   reinterpret_cast<void**>(object.Receive()));
  }
  return object;
}

}  // namespace tarn
