// Watches the processes of the clients.
//
// Not every system releases the references of a process that is killed. The server must end all the
// same.
//
// A client may also have handed its objects on to another program before it ended, and nothing
// shows which one. So what an ended client left is released only when nobody has called the server
// or answered one of its events for a while.
#pragma once

#include <windows.h>

#include <oleauto.h>
#include <unknwn.h>

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "automation/outgoing_calls.hpp"
#include "base/event.hpp"
#include "platform/host.hpp"
#include "platform/timer.hpp"

namespace tarn {

/// Watches the processes that created objects. On the core's thread.
class ProcessWatch {
 public:
  /// `allGone` is called when AreGone begins to hold.
  ProcessWatch(Host& host, OutgoingCalls& callsOut, std::function<void()> allGone);
  ProcessWatch(const ProcessWatch&) = delete;
  ProcessWatch& operator=(const ProcessWatch&) = delete;
  ~ProcessWatch();

  /// The process (0: not known) has created an object. The references to `own`, unless that is
  /// null, are released after the process has ended.
  void Created(DWORD process, IUnknown* own);
  /// Such an object has been destroyed.
  void Gone(const IUnknown* own);
  /// Somebody called the server.
  void Called() { called_ = true; }
  /// Whether all clients were known and have ended, and what they left has been released.
  bool AreGone() const { return gone_; }
  /// The processes that have created objects and not ended, and when they came, in local time.
  std::map<DWORD, DATE> Processes() const;

 private:
  struct Watched;

  bool Watch(DWORD process);
  void Ended(DWORD process);
  void Left(const std::vector<IUnknown*>& objects);
  void LookForCalls();
  void TakeBack(std::size_t count);

  Host& host_;
  OutgoingCalls& callsOut_;
  std::function<void()> allGone_;
  std::map<DWORD, std::unique_ptr<Watched>> processes_;
  std::vector<IUnknown*> left_;  ///< by ended processes, oldest first
  std::unique_ptr<Timer> doubt_;
  Subscription onDoubt_;
  bool called_ = false;
  bool allKnown_ = true;
  bool gone_ = false;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);  ///< for what is still posted
};

}  // namespace tarn
