#include "automation/connection_point.hpp"

#include <olectl.h>

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "automation/com_enumerator.hpp"
#include "automation/com_errors.hpp"
#include "base/number_text.hpp"

namespace tarn {
namespace {

CONNECTDATA GiveConnection(const std::pair<ComPtr<IUnknown>, DWORD>& connection) {
  ComPtr<IUnknown> sink = connection.first;
  return {sink.Detach(), connection.second};
}

}  // namespace

void ConnectionPoint::Raise(DISPID event, const std::vector<Variant>& arguments) noexcept {
  if (sinks_.empty()) return;
  const ComPtr<IConnectionPoint> self(this);  // a handler may release the object
  try {
    const auto sinks = sinks_;  // a handler may advise and unadvise
    for (const auto& sink : sinks) {
      if (sink->IsLive()) Deliver(*sink, event, arguments);
    }
  } catch (const std::exception& error) {
    module_.System().Trace(std::string("An event could not be told: ") + error.what());
  }
  std::erase_if(sinks_, [](const auto& sink) { return !sink->IsLive(); });
}

void ConnectionPoint::Deliver(Sink& sink, DISPID event, const std::vector<Variant>& arguments) {
  const auto client = sink.client;
  const CallOutcome outcome = OutcomeOf(client->Call(event, arguments));
  const std::string name = client->Name();
  switch (outcome) {
    case CallOutcome::Done:
      TellMissed(sink);
      return;
    case CallOutcome::Busy:
      ++sink.missed;
      return;
    case CallOutcome::TimedOut:
      module_.System().Trace("An event was not answered within " +
                             GeneralNumberText(module_.CallsOut().Limit()) +
                             " ms; no more events for " + name);
      client->Apartment().lost = true;
      return;
    case CallOutcome::ProcessGone:
      module_.System().Trace("No more events for a client that is gone: " + name);
      client->Apartment().lost = true;
      return;
    case CallOutcome::Gone:
      sink.advised = false;
      return;
  }
}

void ConnectionPoint::TellMissed(Sink& sink) {
  if (sink.missed == 0) return;
  module_.System().Trace("Too busy for " + std::to_string(std::exchange(sink.missed, 0)) +
                         " events: " + sink.client->Name());
}

STDMETHODIMP ConnectionPoint::QueryInterface(REFIID iid, void** object) {
  *object = nullptr;
  if (iid != IID_IUnknown && iid != IID_IConnectionPoint) return E_NOINTERFACE;
  *object = static_cast<IConnectionPoint*>(this);
  AddRef();
  return S_OK;
}

STDMETHODIMP ConnectionPoint::GetConnectionInterface(IID* iid) {
  *iid = events_;
  return S_OK;
}

STDMETHODIMP ConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer** container) {
  *container = &object_;
  object_.AddRef();
  return S_OK;
}

STDMETHODIMP ConnectionPoint::Advise(IUnknown* sink, DWORD* cookie) {
  *cookie = 0;
  if (sink == nullptr) return E_POINTER;
  const ComPtr<IConnectionPoint> self(this);
  HRESULT refused = S_OK;
  const HRESULT result = Guarded([&] {
    auto advised = std::make_shared<Sink>();
    refused = ClientObject::Create(module_.CallsOut(), sink, events_, advised->client);
    if (FAILED(refused)) return;
    advised->cookie = ++lastCookie_;
    sinks_.push_back(advised);
    *cookie = advised->cookie;
  });
  if (refused == E_NOINTERFACE) return CONNECT_E_CANNOTCONNECT;
  return FAILED(refused) ? refused : result;
}

STDMETHODIMP ConnectionPoint::Unadvise(DWORD cookie) {
  const auto known = std::find_if(sinks_.begin(), sinks_.end(), [cookie](const auto& sink) {
    return sink->cookie == cookie && sink->advised;
  });
  if (known == sinks_.end()) return CONNECT_E_NOCONNECTION;
  (*known)->advised = false;
  sinks_.erase(known);
  return S_OK;
}

STDMETHODIMP ConnectionPoint::EnumConnections(IEnumConnections** connections) {
  *connections = nullptr;
  const ComPtr<IConnectionPoint> self(this);
  return Guarded([&] {
    using Connection = std::pair<ComPtr<IUnknown>, DWORD>;
    std::vector<Connection> live;
    const auto sinks = sinks_;
    for (const auto& sink : sinks) {
      auto object = sink->IsLive() ? sink->client->ForThisApartment() : ComPtr<IUnknown>();
      if (object) live.emplace_back(std::move(object), sink->cookie);
    }
    *connections = new ComEnumerator<IEnumConnections, CONNECTDATA, Connection>(std::move(live),
                                                                                GiveConnection);
  });
}

}  // namespace tarn
