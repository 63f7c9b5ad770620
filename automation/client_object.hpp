// An object of a client's own that the server calls: an event sink, a log stream.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <memory>
#include <vector>

#include "automation/com_owners.hpp"
#include "automation/outgoing_calls.hpp"

namespace tarn {

/// Called from another apartment (see OutgoingCalls); this is its handle on the core's thread.
/// Letting go of it gives the client's reference back some time later.
class ClientObject {
 public:
  /// The client did not return in time.
  static constexpr HRESULT kTimedOut = HRESULT_FROM_WIN32(ERROR_TIMEOUT);

  /// Asks the object for the interface, and for IDispatch where it has no such: script hosts know
  /// only that. Fails with what COM said, or kTimedOut.
  static HRESULT Create(OutgoingCalls& calls, IUnknown* object, const IID& preferred,
                        std::shared_ptr<ClientObject>& created);

  /// Calls a method; the outcome is the client's own or COM's. A client that does not return in
  /// time is lost.
  HRESULT Call(DISPID id, const std::vector<Variant>& arguments);
  /// The same by name; one step, as seen from the limit.
  HRESULT Call(const wchar_t* name, const std::vector<Variant>& arguments);

  /// The object as the core's thread may hand it on to other clients; null where that fails.
  ComPtr<IUnknown> ForThisApartment();

  ClientApartment& Apartment() const { return *apartment_; }

 private:
  struct Proxy;

  ClientObject(OutgoingCalls& calls, std::shared_ptr<Proxy> proxy,
               std::shared_ptr<ClientApartment> apartment);
  HRESULT Run(std::function<HRESULT(IDispatch&)> work);

  OutgoingCalls& calls_;
  std::shared_ptr<Proxy> proxy_;
  std::shared_ptr<ClientApartment> apartment_;
};

}  // namespace tarn
