// What all COM objects of the server share.
//
// That is the host of the core, the type library, the table of which COM object stands for which
// core object, and the count of references that keeps the process running.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "automation/com_owners.hpp"
#include "automation/dispatch_table.hpp"
#include "automation/outgoing_calls.hpp"
#include "automation/process_watch.hpp"
#include "automation/type_library.hpp"
#include "platform/host.hpp"
#include "scale/scale_site.hpp"

namespace tarn {

/// One per process, on the thread of the loop; outlives every COM object.
class ComModule {
 public:
  /// `program` is the file that carries the type library. `unused` is called whenever the process
  /// may be in use no more, on any thread.
  ComModule(Host& host, const std::wstring& program, const LaneLimits& limits,
            const std::function<void()>& unused);
  ComModule(const ComModule&) = delete;
  ComModule& operator=(const ComModule&) = delete;

  Host& System() { return host_; }
  const TypeLibrary& Types() const { return types_; }
  /// The members of a class for late binding, read when they are first asked for.
  const DispatchTable& MembersOf(const CLSID& coclass, const std::vector<IID>& interfaces);
  OutgoingCalls& CallsOut() const { return *callsOut_; }
  ProcessWatch& Clients() { return clients_; }

  /// The site of a connection or protocol that a client has created and not yet given to a scale.
  /// Does not start the server.
  std::shared_ptr<ScaleSite> ClientSite();

  // One COM object for each core object, as long as somebody holds it.
  IUnknown* Find(const void* core) const;
  void Remember(const void* core, IUnknown* object) { objects_[core] = object; }
  void Forget(const void* core, const IUnknown* object);
  /// Whether a COM object, given by its identity, is one of these.
  bool IsOwn(const IUnknown* object) const;
  /// An object has come to this thread, as an argument or as the answer of a client. Its identity;
  /// where it is a client's, giving it back waits for nobody (OutgoingCalls::GiveBackLater).
  ComPtr<IUnknown> MindForeign(IUnknown* object) const;

  /// Holds a COM object, and what COM has made to reach it from other processes, which is costly,
  /// beyond the last reference of a client, until it is let go. Whoever keeps one must go before
  /// the process may end, since it counts as a reference. Nobody keeps one with subscribers: those
  /// that a client left behind go with its references.
  void Keep(IUnknown* object);
  /// What is not kept is no error.
  void LetGo(const IUnknown* object);

  /// The object arguments of a late-bound call, for as long as it lasts.
  class LateArguments {
   public:
    LateArguments(ComModule& module, const DISPPARAMS& arguments);
    LateArguments(const LateArguments&) = delete;
    LateArguments& operator=(const LateArguments&) = delete;
    ~LateArguments() { late_.resize(before_); }

   private:
    std::vector<const void*>& late_;
    const std::size_t before_;
  };
  /// The interface with which an argument has come: late-bound callers pass any object as
  /// IDispatch. Only that one can be handed on to another apartment without asking the client.
  IID CameAs(const IUnknown* argument, const IID& declared) const;

  // Outside references: objects that clients hold, and locks. Counted from any thread. The system's
  // count of them is deliberately not used: it is kept under the lock of the table of classes,
  // which the core's thread must never wait for.
  void AddReference() { ++references_; }
  void ReleaseReference();
  /// References of clients that have all ended do not count.
  bool InUse() const { return references_ > 0 && !clients_.AreGone(); }

 private:
  Host& host_;
  TypeLibrary types_;
  std::map<std::wstring, DispatchTable> members_;
  std::shared_ptr<OutgoingCalls> callsOut_;
  const std::function<void()> unused_;
  ProcessWatch clients_;
  std::shared_ptr<ScaleSite> clientSite_;
  std::map<const void*, IUnknown*> objects_;
  std::map<const IUnknown*, ComPtr<IUnknown>> kept_;
  std::vector<const void*> lateArguments_;
  std::atomic<long> references_ = 0;
};

/// An object that another one keeps for as long as it lives itself.
class Kept {
 public:
  explicit Kept(ComModule& module) : module_(module) {}
  Kept(const Kept&) = delete;
  Kept& operator=(const Kept&) = delete;
  ~Kept() { LetGo(); }
  /// Keeps this one in place of the former.
  void Keep(IUnknown* object);
  void LetGo() { module_.LetGo(object_); }

 private:
  ComModule& module_;
  const IUnknown* object_ = nullptr;
};

}  // namespace tarn
