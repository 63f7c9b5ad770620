// Calls out to clients, bounded in time.
//
// A call to a client lasts as long as the client likes: one that is stopped in a debugger, or
// hangs, would stop all scales, and such a call cannot be cancelled everywhere. So the core's
// thread never calls a client itself. A thread of the multithreaded apartment does, and the core's
// thread waits for it, serving the calls of other clients meanwhile, as long as the limit allows. A
// client that answers sees a synchronous call.
//
// Threads are made when all others are busy, so there are about as many as calls are nested and
// clients hang.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace tarn {

/// One apartment of a client. When it hangs or ends, all objects in it are lost.
struct ClientApartment {
  explicit ClientApartment(std::uint64_t known = 0) : id(known) {}
  const std::uint64_t id;  ///< 0 where it is not known
  std::atomic<bool> lost = false;
};

/// Shared with the references that it releases, the last of which may outlive the server.
class OutgoingCalls : public std::enable_shared_from_this<OutgoingCalls> {
 public:
  explicit OutgoingCalls(double limit);
  OutgoingCalls(const OutgoingCalls&) = delete;
  OutgoingCalls& operator=(const OutgoingCalls&) = delete;
  ~OutgoingCalls();

  /// Milliseconds.
  double Limit() const { return limit_; }

  /// Does the work on another thread. False when it was not done within the limit, or when the
  /// apartment was given up meanwhile; it then goes on alone and must own all that it uses. Time
  /// that is lost on another client, in a call that was served while this one waits, does not
  /// count: a client must not be given up because another one hangs. The work must not throw. On
  /// the core's thread only.
  bool Run(std::function<void()> work, const ClientApartment& client) {
    return Run(std::move(work), client, limit_);
  }
  /// The same within another limit, in milliseconds.
  bool Run(std::function<void()> work, const ClientApartment& client, double limit);

  /// The same for work that calls no client, within a limit that allows for a slow system. Returns
  /// the result of the work, or RPC_E_TIMEOUT.
  HRESULT RunOwn(std::function<HRESULT()> work);

  /// Does the work later on another thread. Work for the same client is done in sequence, so that a
  /// client that hangs occupies at most one thread. The work is dropped where memory has run out.
  /// From any thread.
  void Later(std::uint64_t client, std::function<void()> work) noexcept;

  /// A client answered a call.
  void Answered() { answered_ = true; }
  /// Whether one did since this was asked last.
  bool TakeAnswered() { return std::exchange(answered_, false); }

  /// From any thread.
  std::shared_ptr<ClientApartment> Apartment(std::uint64_t id);

  /// Gives up the apartments of a process that has ended, as far as their ids show the process:
  /// under Wine the upper half is the process's id, which the next client may get again, and would
  /// then be taken for the dead one. Elsewhere ids are not used twice, and the first failing call
  /// shows it.
  void ProcessEnded(DWORD process);

 private:
  struct Pool;
  struct Job;

  bool WaitFor(const Job& job, double limit) const;

  double limit_;
  double lost_ = 0;  ///< milliseconds spent so far on calls that were not done in time
  bool answered_ = false;
  std::shared_ptr<Pool> pool_;  ///< shared with the threads, which may outlive this object
  std::mutex apartmentsMutex_;
  std::map<std::uint64_t, std::weak_ptr<ClientApartment>> apartments_;
};

}  // namespace tarn
