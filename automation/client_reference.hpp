// A reference to an object of a client that the server calls, such as an event sink.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "automation/com_owners.hpp"
#include "automation/outgoing_calls.hpp"

namespace tarn {

/// What became of a call.
enum class CallOutcome { Done, Busy, Gone, ProcessGone, TimedOut };
CallOutcome OutcomeOf(HRESULT result);

/// The object is called from another apartment (see OutgoingCalls); this is its handle on the
/// core's thread. The client's reference is released some time after the handle has been destroyed.
class ClientReference {
 public:
  /// The client did not return in time.
  static constexpr HRESULT kTimedOut = HRESULT_FROM_WIN32(ERROR_TIMEOUT);

  /// Asks the object for the interface, and for IDispatch where it has no such: script hosts know
  /// only that. Fails with what COM said, or kTimedOut. `cameAs` is the interface with which the
  /// object has come to this thread: it is handed over with that one, since another one would have
  /// to be asked for here.
  static HRESULT Create(OutgoingCalls& calls, IUnknown* object, const IID& cameAs,
                        const IID& preferred, std::shared_ptr<ClientReference>& created);

  /// The same for an object that was received in the calls' own apartment, on a thread of which
  /// this is called. `process` is that of the client, 0 where it is not known. Waits a second for
  /// the client's answer, and then takes it on trust that the object has one of the interfaces: a
  /// client that is in the middle of its Advise may not see the question before that has returned.
  /// Calls then wait for the answer first.
  static HRESULT CreateHere(OutgoingCalls& calls, IUnknown* object, DWORD process,
                            const IID& preferred, std::shared_ptr<ClientReference>& created);

  /// Whether it has the preferred interface.
  bool HasPreferred() const;

  /// Calls a method on a thread of the calls' own apartment, and takes as long as the client likes.
  /// The outcome is the client's own or COM's.
  HRESULT CallHere(DISPID id, std::vector<Variant>& arguments);
  /// Calls a method by name. A client that does not return in time is lost.
  HRESULT Call(const wchar_t* name, const std::vector<Variant>& arguments);
  /// The same for work of any kind, which gets the preferred interface or what stands in for it.
  /// The work must own all that it uses: it goes on alone when the client does not return.
  HRESULT Run(std::function<HRESULT(IDispatch&)> work);

  /// The first face of the object as the core's thread may hand it on to other clients, with any of
  /// these faces and without asking it; null where that fails.
  ComPtr<IUnknown> ForThisApartment(const std::vector<IID>& faces);
  /// The same for a thread of the calls' own apartment; null while the client has not answered.
  ComPtr<IUnknown> ForCallsApartment() const;
  const std::shared_ptr<ClientApartment>& Apartment() const { return apartment_; }
  bool IsLost() const { return apartment_->IsLost(); }
  void Lose() { calls_.ClientLanes().Lose(apartment_); }
  /// For the trace.
  const std::string& Name() const { return apartment_->Name(); }

 private:
  struct Proxy;

  ClientReference(OutgoingCalls& calls, std::shared_ptr<Proxy> proxy,
                  std::shared_ptr<ClientApartment> apartment);

  OutgoingCalls& calls_;
  std::shared_ptr<Proxy> proxy_;
  std::shared_ptr<ClientApartment> apartment_;
};

}  // namespace tarn
