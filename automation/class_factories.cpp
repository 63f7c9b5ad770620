#include "automation/class_factories.hpp"

#include <TarnSclServer.h>
#include <objbase.h>
// Needs the types of the headers above.
#include <rpc.h>
#include <rpcdce.h>
#include <rpcdcep.h>

#include <atomic>
#include <cstdint>
#include <utility>
#include <vector>

#include "automation/class_table.hpp"
#include "automation/com_errors.hpp"
#include "automation/com_unknown.hpp"
#include "automation/parcel.hpp"
#include "automation/type_library.hpp"
#include "automation/windows_error.hpp"

namespace tarn {
namespace {

/// The queue of the outgoing calls in which the registrations are changed; no client's apartment.
constexpr std::uint64_t kOwnTurn = ~std::uint64_t{0};

/// Creates objects of all classes on the core's thread. It is called through IDispatch, which every
/// system can marshal: the id is the index of the class in the table, the argument is the process
/// that asks. Lives as long as the process.
class CoreFactory final : public NamelessDispatch<UncountedObject<IDispatch>> {
 public:
  explicit CoreFactory(ComModule& module) : module_(module) {}

  STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT* result,
                      EXCEPINFO*, UINT*) override {
    return Guarded([&] {
      const CreatableClass& made = CreatableClasses()[static_cast<std::size_t>(id)];
      auto object = made.create(module_);
      const bool wayIn = *made.clsid == CLSID_TarnServerConnection;
      module_.Clients().Created(static_cast<DWORD>(V_I4(&arguments->rgvarg[0])),
                                wayIn ? object.Get() : nullptr);
      V_VT(result) = VT_UNKNOWN;
      V_UNKNOWN(result) = object.Detach();
    });
  }

 private:
  ComModule& module_;
};

/// What all factories share.
struct Passage {
  explicit Passage(ComModule& owner) : module(owner) {}

  ComModule& module;
  ComPtr<IDispatch> core;  ///< the CoreFactory, as the multithreaded apartment calls it
  std::atomic<int> creating = 0;
  std::atomic<bool> refuses = false;
};

class PublicFactory final : public CountedObject<IClassFactory> {
 public:
  PublicFactory(std::shared_ptr<Passage> passage, LONG index)
      : passage_(std::move(passage)), index_(index) {}

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    ++passage_->creating;
    const HRESULT result = passage_->refuses ? CO_E_SERVER_STOPPING : Create(iid, object);
    --passage_->creating;
    return result;
  }
  STDMETHODIMP LockServer(BOOL lock) override {
    if (lock)
      passage_->module.AddReference();
    else
      passage_->module.ReleaseReference();
    return S_OK;
  }

  bool IsHeld() const { return References() > 1; }

 private:
  HRESULT Create(REFIID iid, void** object) {
    unsigned long process = 0;
    if (I_RpcBindingInqLocalClientPID(nullptr, &process) != RPC_S_OK) process = 0;
    Variant caller(static_cast<LONG>(process));
    DISPPARAMS parameters{caller.Get(), nullptr, 1, 0};
    Variant made;
    const HRESULT result =
        passage_->core->Invoke(index_, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters,
                               made.Get(), nullptr, nullptr);
    return FAILED(result) ? result : V_UNKNOWN(made.Get())->QueryInterface(iid, object);
  }

  const std::shared_ptr<Passage> passage_;
  const LONG index_;
};

}  // namespace

/// The registrations are made and taken back in the multithreaded apartment. A factory is kept
/// after its registration has ended: the system releases it while it locks the table of classes,
/// and nothing may depend on the core's thread there.
struct ClassFactories::Door {
  HRESULT Open() {
    for (std::size_t i = 0; i < factories.size(); ++i) {
      DWORD cookie = 0;
      const HRESULT result = CoRegisterClassObject(*CreatableClasses()[i].clsid, factories[i].Get(),
                                                   CLSCTX_LOCAL_SERVER,
                                                   REGCLS_MULTIPLEUSE | REGCLS_SUSPENDED, &cookie);
      if (FAILED(result)) return result;
      cookies.push_back(cookie);
    }
    return S_OK;
  }
  void Close() {
    CoSuspendClassObjects();
    for (const DWORD cookie : std::exchange(cookies, {})) CoRevokeClassObject(cookie);
  }

  std::shared_ptr<Passage> passage;
  std::vector<ComPtr<PublicFactory>> factories;
  std::vector<DWORD> cookies;
};

ClassFactories::ClassFactories(ComModule& module)
    : module_(module), door_(std::make_shared<Door>()) {
  door_->passage = std::make_shared<Passage>(module);
  const auto core = std::make_shared<Parcel>(new CoreFactory(module), IID_IDispatch);
  const HRESULT registered = module.CallsOut().RunOwn([core, door = door_] {
    door->passage->core = core->Open<IDispatch>(IID_IDispatch);
    if (!door->passage->core) return E_NOINTERFACE;
    for (std::size_t i = 0; i < CreatableClasses().size(); ++i) {
      door->factories.emplace_back();
      *door->factories.back().Receive() = new PublicFactory(door->passage, static_cast<LONG>(i));
    }
    return door->Open();
  });
  Check(registered, "registering the class factories");
}

ClassFactories::~ClassFactories() = default;

void ClassFactories::Resume() {
  CoResumeClassObjects();
}

void ClassFactories::Close(std::function<void()> closed) {
  module_.CallsOut().Later(
      kOwnTurn, [door = door_, &loop = module_.System().Loop(), then = std::move(closed)] {
        door->Close();
        loop.Post(then);
      });
}

void ClassFactories::Reopen() {
  Check(module_.CallsOut().RunOwn([door = door_] { return door->Open(); }),
        "registering the class factories again");
  Resume();
}

bool ClassFactories::AreHeld() const {
  for (const auto& factory : door_->factories) {
    if (factory->IsHeld()) return true;
  }
  return false;
}

bool ClassFactories::Refuse() {
  Passage& passage = *door_->passage;
  passage.refuses = true;
  if (passage.creating == 0) return true;
  passage.refuses = false;
  return false;
}

}  // namespace tarn
