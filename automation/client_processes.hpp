// Which client process holds which way in, so that a client that dies does not hold the server for
// ever: the references of a process that was killed are not given back everywhere.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "automation/outgoing_calls.hpp"
#include "platform/host.hpp"

namespace tarn {

/// Watches the processes that created objects. On the core's thread.
class ClientProcesses {
 public:
  /// `allGone` is called when the last known process has ended, if all clients were known.
  ClientProcesses(Host& host, OutgoingCalls& callsOut, std::function<void()> allGone);
  ClientProcesses(const ClientProcesses&) = delete;
  ClientProcesses& operator=(const ClientProcesses&) = delete;
  ~ClientProcesses();

  /// The process (0: not known) created an object. With `own`, the object is the process's alone,
  /// and its references are taken back when the process ends.
  void Created(DWORD process, IUnknown* own);
  /// Such an object is gone.
  void Gone(const IUnknown* own);

 private:
  struct Watched;

  bool Watch(DWORD process);
  void Ended(DWORD process);

  Host& host_;
  OutgoingCalls& callsOut_;
  std::function<void()> allGone_;
  std::map<DWORD, std::unique_ptr<Watched>> processes_;
  bool allKnown_ = true;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);  ///< for what is still posted
};

}  // namespace tarn
