// Calls out to clients, bounded in time.
//
// A call to a client lasts as long as the client likes: one that is stopped in a debugger, or
// hangs, would stop all scales, and such a call cannot be cancelled everywhere. So the core's
// thread never calls a client itself. A thread of the multithreaded apartment does, and the core's
// thread waits for it, serving the calls of other clients meanwhile, as long as the limit allows. A
// client that answers sees a synchronous call. How long the core waits for an event is the matter
// of Lanes.
//
// Threads are made when all others are busy, so there are about as many as calls are nested and
// clients are late or hang.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "automation/lanes/lanes.hpp"
#include "base/event.hpp"
#include "platform/host.hpp"
#include "platform/timer.hpp"

namespace tarn {

/// One apartment of a client. When it hangs or ends, all objects in it are lost.
struct ClientApartment final : Lane {
  ClientApartment(std::uint64_t known, DWORD owner, double share);

  const DWORD process;        ///< 0 where it is not known
  const std::string program;  ///< file name; empty where it is not known
  const DATE since;           ///< local time
  std::atomic<long> subscriptions = 0;

 private:
  ClientApartment(std::uint64_t known, DWORD owner, std::string file, double share);
};

/// The file name of a running program; empty where the system does not say.
std::string ProgramOf(DWORD process);
/// The local time.
DATE LocalTime();

/// Shared with the references that it releases, the last of which may outlive the server.
class OutgoingCalls final : public std::enable_shared_from_this<OutgoingCalls>, private LaneSystem {
 public:
  OutgoingCalls(Host& host, const LaneLimits& limits);
  ~OutgoingCalls() override;

  /// Who is waited for, and how long. On the core's thread.
  Lanes& ClientLanes() { return lanes_; }
  /// On the core's thread.
  void Deliver(const std::shared_ptr<ClientApartment>& client, LaneEvent event) {
    lanes_.Deliver(client, std::move(event), shared_from_this());
  }

  /// Does the work on another thread. False when it was not done within the time that a client may
  /// take at most, or when the client was lost meanwhile; it then goes on alone and must own all
  /// that it uses. Time that is spent in a call that was served while this one waits does not
  /// count: a client must not be given up because another one hangs. The work must not throw. On
  /// the core's thread only.
  bool Run(std::function<void()> work, ClientApartment& client) {
    return Run(std::move(work), client, lanes_.Limits().hung);
  }

  /// The same for work that calls no client, within a limit that allows for a slow system. Returns
  /// the result of the work, or RPC_E_TIMEOUT.
  HRESULT RunOwn(std::function<HRESULT()> work);

  /// Does the work later on another thread. Work for the same client is done in sequence, so that a
  /// client that hangs occupies at most one thread. The work is dropped where memory has run out.
  /// From any thread.
  void Later(std::uint64_t client, std::function<void()> work) noexcept;

  /// A client's object has come to the core's thread, as an argument or a result. The system gives
  /// its reference back at the end of the call, which would be a call to the client. So one more is
  /// kept, which another thread gives back when that call is over. On the core's thread.
  void GiveBackLater(IUnknown* object);

  /// One line for the trace. From any thread.
  void TraceLater(std::string text);

  /// A client answered a call. From any thread.
  void Answered() { answered_ = true; }
  /// Whether one did since this was asked last.
  bool TakeAnswered() { return answered_.exchange(false); }

  /// The process is that of the caller, 0 where it is not known. From any thread.
  std::shared_ptr<ClientApartment> Apartment(std::uint64_t id, DWORD process = 0);
  /// Those that are known and still in use, lost ones too.
  std::vector<std::shared_ptr<ClientApartment>> Apartments();

  /// Gives up the apartments of a process that has ended, as far as their ids show the process:
  /// under Wine the upper half is the process's id, which the next client may get again, and would
  /// then be taken for the dead one. Elsewhere ids are not used twice, and the first failing call
  /// shows it.
  void ProcessEnded(DWORD process);

 private:
  struct Pool;
  class Signal;

  bool Run(std::function<void()> work, ClientApartment& client, double limit);

  double Now() const override;
  std::shared_ptr<Answer> NewAnswer() override;
  void Start(std::function<void()> work) override;
  bool Wait(Answer& answer, double milliseconds) override;
  bool HasOtherWork() const override;
  void Changed(const std::shared_ptr<Lane>& lane, LaneState state) override;

  Host& host_;
  Lanes lanes_;
  std::unique_ptr<Timer> watch_;
  Subscription onWatch_;
  std::atomic<bool> answered_ = false;
  std::shared_ptr<Pool> pool_;  ///< shared with the threads, which may outlive this object
  std::mutex apartmentsMutex_;
  std::map<std::uint64_t, std::weak_ptr<ClientApartment>> apartments_;
};

}  // namespace tarn
