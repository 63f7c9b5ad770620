// The source of one object's events: who is subscribed, and the telling.
#pragma once

#include <windows.h>

#include <ocidl.h>

#include <memory>
#include <vector>

#include "automation/client_object.hpp"
#include "automation/com_module.hpp"

namespace tarn {

/// Part of its object: shares its life, and counts its references there.
///
/// A sink is told synchronously, in the order of subscription. One that was unadvised while an
/// event is being told is skipped. A client that hangs or is dead loses all its subscriptions, on
/// every object; one that is busy keeps them and misses this event.
class ConnectionPoint final : public IConnectionPoint {
 public:
  ConnectionPoint(ComModule& module, IConnectionPointContainer& object, const IID& events)
      : module_(module), object_(object), events_(events) {}
  ConnectionPoint(const ConnectionPoint&) = delete;
  ConnectionPoint& operator=(const ConnectionPoint&) = delete;

  /// Never throws. The object may be gone afterwards, unless the caller holds it.
  void Raise(DISPID event, const std::vector<Variant>& arguments = {}) noexcept;
  const IID& Events() const { return events_; }

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override { return object_.AddRef(); }
  STDMETHODIMP_(ULONG) Release() override { return object_.Release(); }

  STDMETHODIMP GetConnectionInterface(IID* iid) override;
  STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer** container) override;
  STDMETHODIMP Advise(IUnknown* sink, DWORD* cookie) override;
  STDMETHODIMP Unadvise(DWORD cookie) override;
  STDMETHODIMP EnumConnections(IEnumConnections** connections) override;

 private:
  struct Sink {
    DWORD cookie = 0;
    std::shared_ptr<ClientObject> client;
    bool advised = true;
    unsigned missed = 0;  ///< events that the client was too busy for, in a row

    bool IsLive() const { return advised && !client->Apartment().lost; }
  };

  void Deliver(Sink& sink, DISPID event, const std::vector<Variant>& arguments);
  void TellMissed(Sink& sink);

  ComModule& module_;
  IConnectionPointContainer& object_;
  const IID events_;
  DWORD lastCookie_ = 0;
  std::vector<std::shared_ptr<Sink>> sinks_;
};

}  // namespace tarn
