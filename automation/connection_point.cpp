#include "automation/connection_point.hpp"

#include <olectl.h>
// Needs the types of the headers above.
#include <rpc.h>
#include <rpcdce.h>
#include <rpcdcep.h>

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "automation/com_enumerator.hpp"
#include "automation/com_errors.hpp"
#include "automation/com_unknown.hpp"
#include "automation/parcel.hpp"
#include "automation/windows_error.hpp"

namespace tarn {
namespace {

using Connection = std::pair<ComPtr<IUnknown>, DWORD>;

CONNECTDATA GiveConnection(const Connection& connection) {
  ComPtr<IUnknown> sink = connection.first;
  return {sink.Detach(), connection.second};
}

/// Which process calls, on the thread of a call from another one; 0 where it is not known.
DWORD CallingProcess() {
  unsigned long process = 0;
  return I_RpcBindingInqLocalClientPID(nullptr, &process) == RPC_S_OK ? process : 0;
}

/// Called on threads of the multithreaded apartment. It may outlive its object, whose apartment
/// ends with the server, but not the other way round.
class PublicPoint final : public CountedObject<IConnectionPoint> {
 public:
  PublicPoint(std::shared_ptr<OutgoingCalls> calls, std::shared_ptr<SinkList> sinks,
              ComPtr<IConnectionPointContainer> object, const IID& events)
      : calls_(std::move(calls)),
        sinks_(std::move(sinks)),
        object_(std::move(object)),
        events_(events) {}

  STDMETHODIMP GetConnectionInterface(IID* iid) override {
    *iid = events_;
    return S_OK;
  }
  STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer** container) override {
    *container = ComPtr<IConnectionPointContainer>(object_).Detach();
    return S_OK;
  }
  STDMETHODIMP Advise(IUnknown* sink, DWORD* cookie) override {
    *cookie = 0;
    if (sink == nullptr) return E_POINTER;
    HRESULT refused = S_OK;
    const HRESULT result = Guarded([&] {
      std::shared_ptr<ClientReference> client;
      refused = ClientReference::CreateHere(*calls_, sink, CallingProcess(), events_, client);
      if (SUCCEEDED(refused)) *cookie = sinks_->Add(std::move(client));
    });
    if (refused == E_NOINTERFACE) return CONNECT_E_CANNOTCONNECT;
    return FAILED(refused) ? refused : result;
  }
  STDMETHODIMP Unadvise(DWORD cookie) override {
    return sinks_->Remove(cookie) ? S_OK : CONNECT_E_NOCONNECTION;
  }
  STDMETHODIMP EnumConnections(IEnumConnections** connections) override {
    *connections = nullptr;
    return Guarded([&] {
      std::vector<Connection> live;
      for (const auto& sink : sinks_->Live()) {
        if (auto object = sink->client->ForCallsApartment()) {
          live.emplace_back(std::move(object), sink->cookie);
        }
      }
      *connections = new ComEnumerator<IEnumConnections, CONNECTDATA, Connection>(std::move(live),
                                                                                  GiveConnection);
    });
  }

 private:
  const std::shared_ptr<OutgoingCalls> calls_;
  const std::shared_ptr<SinkList> sinks_;
  const ComPtr<IConnectionPointContainer> object_;
  const IID events_;
};

/// On a thread of the calls' own.
Delivery Call(OutgoingCalls& calls, Sink& sink, DISPID event, std::vector<Variant> arguments) {
  if (!sink.IsLive()) return Delivery::Withdrawn;
  switch (OutcomeOf(sink.client->CallHere(event, arguments))) {
    case CallOutcome::Busy:
      ++sink.missed;
      return Delivery::Missed;
    case CallOutcome::ProcessGone:
      return Delivery::ClientGone;
    case CallOutcome::Gone:
      sink.Withdraw();
      return Delivery::Withdrawn;
    default:
      break;
  }
  if (const unsigned missed = sink.missed.exchange(0); missed > 0) {
    calls.TraceLater("Too busy for " + std::to_string(missed) + " events: " + sink.client->Name());
  }
  return Delivery::Done;
}

}  // namespace

DWORD SinkList::Add(std::shared_ptr<ClientReference> client) {
  const std::lock_guard lock(mutex_);
  sinks_.push_back(std::make_shared<Sink>(lastCookie_ + 1, std::move(client)));
  return ++lastCookie_;
}

bool SinkList::Remove(DWORD cookie) {
  const std::lock_guard lock(mutex_);
  const auto known = std::find_if(sinks_.begin(), sinks_.end(), [cookie](const auto& sink) {
    return sink->cookie == cookie && sink->advised;
  });
  if (known == sinks_.end()) return false;
  (*known)->Withdraw();
  sinks_.erase(known);
  return true;
}

void SinkList::Close() {
  const std::lock_guard lock(mutex_);
  for (const auto& sink : sinks_) sink->Withdraw();
}

SinkList::Sinks SinkList::Live() {
  const std::lock_guard lock(mutex_);
  std::erase_if(sinks_, [](const auto& sink) { return !sink->IsLive(); });
  return sinks_;
}

ComPtr<IConnectionPoint> ConnectionPoint::ForClients() {
  const auto there = std::make_shared<Parcel>(&object_, IID_IConnectionPointContainer);
  const auto back = std::make_shared<Parcel>();
  Check(module_.CallsOut().RunOwn(
            [=, calls = module_.CallsOut().shared_from_this(), sinks = sinks_, events = events_] {
              auto object = there->Open<IConnectionPointContainer>(IID_IConnectionPointContainer);
              if (!object) return E_FAIL;
              ComPtr<IConnectionPoint> point;
              *point.Receive() = new PublicPoint(calls, sinks, std::move(object), events);
              *back = Parcel(point.Get(), IID_IConnectionPoint);
              return S_OK;
            }),
        "making a connection point");
  auto point = back->Open<IConnectionPoint>(IID_IConnectionPoint);
  Check(point ? S_OK : E_FAIL, "handing a connection point over");
  return point;
}

void ConnectionPoint::Raise(DISPID event, const std::vector<Variant>& arguments) noexcept {
  try {
    const auto sinks = sinks_->Live();  // a handler may advise and unadvise
    if (sinks.empty()) return;
    const ComPtr<IConnectionPointContainer> self(&object_);  // a handler may release the object
    for (const auto& sink : sinks) {
      if (sink->IsLive()) Deliver(sink, event, arguments);
    }
    sinks_->Live();  // removes those that were lost
  } catch (const std::exception& error) {
    module_.System().Trace(std::string("An event could not be delivered: ") + error.what());
  }
}

void ConnectionPoint::Deliver(const std::shared_ptr<Sink>& sink, DISPID event,
                              const std::vector<Variant>& arguments) {
  LaneEvent next;
  next.subscription = sink;
  next.id = event;
  next.hasArguments = !arguments.empty();
  next.deliver = [sink, event, own = arguments, calls = module_.CallsOut().shared_from_this()] {
    return Call(*calls, *sink, event, own);
  };
  module_.CallsOut().Deliver(sink->client->Apartment(), std::move(next));
}

}  // namespace tarn
