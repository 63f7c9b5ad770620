// The events of one object: its subscribers, and the delivery to them.
#pragma once

#include <windows.h>

#include <ocidl.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "automation/client_reference.hpp"
#include "automation/com_module.hpp"

namespace tarn {

struct Sink {
  Sink(DWORD known, std::shared_ptr<ClientReference> object)
      : cookie(known), client(std::move(object)) {
    ++client->Apartment()->subscriptions;
  }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;
  ~Sink() { Withdraw(); }

  bool IsLive() const { return advised && !client->IsLost(); }
  void Withdraw() {
    if (advised.exchange(false)) --client->Apartment()->subscriptions;
  }

  const DWORD cookie;
  const std::shared_ptr<ClientReference> client;
  std::atomic<bool> advised = true;
  std::atomic<unsigned> missed = 0;  ///< events that the client was too busy for, in a row
};

/// Who is subscribed to one object's events, in the order of subscription. From any thread.
class SinkList {
 public:
  using Sinks = std::vector<std::shared_ptr<Sink>>;

  SinkList() = default;
  SinkList(const SinkList&) = delete;
  SinkList& operator=(const SinkList&) = delete;

  /// Returns the cookie. The object never uses a cookie twice.
  DWORD Add(std::shared_ptr<ClientReference> client);
  /// Returns false where there is no such sink. The sink gets no more events, unless a call to it
  /// is under way.
  bool Remove(DWORD cookie);
  /// A copy of the list, without the sinks that are lost.
  Sinks Live();
  /// The object is gone. What still waits for a client is not delivered.
  void Close();

 private:
  std::mutex mutex_;
  DWORD lastCookie_ = 0;
  Sinks sinks_;
};

/// A member of the object whose events these are.
///
/// Sinks are called in the order of subscription, synchronously as long as the client's lane is
/// prompt. One that was unadvised while an event is being delivered is skipped. A client that hangs
/// or is dead loses all its subscriptions, on every object; one that is busy keeps them and misses
/// this event.
///
/// What clients hold of it lives in the multithreaded apartment: a sink is received, asked and
/// given back by calls to its client, which last as long as the client likes, so the core's thread
/// must do none of it.
class ConnectionPoint {
 public:
  ConnectionPoint(ComModule& module, IConnectionPointContainer& object, const IID& events)
      : module_(module), object_(object), events_(events) {}
  ConnectionPoint(const ConnectionPoint&) = delete;
  ConnectionPoint& operator=(const ConnectionPoint&) = delete;
  ~ConnectionPoint() { sinks_->Close(); }

  /// Never throws. The object may be gone afterwards, unless the caller holds it.
  void Raise(DISPID event, const std::vector<Variant>& arguments = {}) noexcept;
  const IID& Events() const { return events_; }
  bool HasSubscribers() const { return !sinks_->Live().empty(); }
  /// The connection point as clients get it; holds the object. Throws WindowsError.
  ComPtr<IConnectionPoint> ForClients();

 private:
  void Deliver(const std::shared_ptr<Sink>& sink, DISPID event,
               const std::vector<Variant>& arguments);

  ComModule& module_;
  IConnectionPointContainer& object_;
  const IID events_;
  std::shared_ptr<SinkList> sinks_ = std::make_shared<SinkList>();
};

}  // namespace tarn
