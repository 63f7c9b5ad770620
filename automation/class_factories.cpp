#include "automation/class_factories.hpp"

#include <TarnSclServer.h>
#include <objbase.h>
// Needs the types of the headers above.
#include <rpc.h>
#include <rpcdce.h>
#include <rpcdcep.h>

#include <utility>

#include "automation/class_table.hpp"
#include "automation/com_errors.hpp"
#include "automation/type_library.hpp"

namespace tarn {
namespace {

/// No outside reference: it lives as long as the process registers it.
class FactoryBase : public IClassFactory {
 public:
  FactoryBase() = default;
  FactoryBase(const FactoryBase&) = delete;
  FactoryBase& operator=(const FactoryBase&) = delete;

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    *object = nullptr;
    if (iid != IID_IUnknown && iid != IID_IClassFactory) return E_NOINTERFACE;
    *object = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~FactoryBase() = default;

 private:
  std::atomic<ULONG> references_ = 1;
};

class CoreFactory final : public FactoryBase {
 public:
  CoreFactory(ComModule& module, std::shared_ptr<ClassFactories::Caller> caller,
              const CreatableClass& made)
      : module_(module), caller_(std::move(caller)), class_(made) {}

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    HRESULT asked = S_OK;
    const HRESULT created = Guarded([&] {
      const auto made = class_.create(module_);
      const bool wayIn = *class_.clsid == CLSID_TarnServerConnection;
      module_.Clients().Created(caller_->process, wayIn ? made.Get() : nullptr);
      asked = made->QueryInterface(iid, object);
    });
    return FAILED(created) ? created : asked;
  }
  STDMETHODIMP LockServer(BOOL lock) override {
    if (lock)
      module_.AddReference();
    else
      module_.ReleaseReference();
    return S_OK;
  }

 private:
  ComModule& module_;
  std::shared_ptr<ClassFactories::Caller> caller_;
  const CreatableClass& class_;
};

class PublicFactory final : public FactoryBase {
 public:
  PublicFactory(ComPtr<IClassFactory> core, std::shared_ptr<ClassFactories::Caller> caller)
      : core_(std::move(core)), caller_(std::move(caller)) {}

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    unsigned long process = 0;
    if (I_RpcBindingInqLocalClientPID(nullptr, &process) != RPC_S_OK) process = 0;
    const std::lock_guard turn(caller_->turn);
    caller_->process = process;
    return core_->CreateInstance(nullptr, iid, object);
  }
  STDMETHODIMP LockServer(BOOL lock) override { return core_->LockServer(lock); }

 private:
  ComPtr<IClassFactory> core_;
  std::shared_ptr<ClassFactories::Caller> caller_;
};

}  // namespace

ClassFactories::ClassFactories(ComModule& module) : module_(module) {
  for (const CreatableClass& creatable : CreatableClasses()) {
    ComPtr<IClassFactory> factory;
    *factory.Receive() = new CoreFactory(module, caller_, creatable);
    Register(*creatable.clsid, factory.Get());
  }
}

void ClassFactories::Register(const CLSID& clsid, IClassFactory* factory) {
  ComPtr<IStream> stream;
  Check(CoMarshalInterThreadInterfaceInStream(IID_IClassFactory, factory, stream.Receive()),
        "handing a class factory over");
  const auto cookie = std::make_shared<DWORD>(0);
  const HRESULT registered =
      module_.CallsOut().RunOwn([clsid, cookie, caller = caller_, given = stream.Detach()] {
        ComPtr<IClassFactory> core;
        const HRESULT result = CoGetInterfaceAndReleaseStream(
            given, IID_IClassFactory, reinterpret_cast<void**>(core.Receive()));
        if (FAILED(result)) return result;
        ComPtr<IClassFactory> known;
        *known.Receive() = new PublicFactory(std::move(core), caller);
        return CoRegisterClassObject(clsid, known.Get(), CLSCTX_LOCAL_SERVER,
                                     REGCLS_MULTIPLEUSE | REGCLS_SUSPENDED, cookie.get());
      });
  Check(registered, "registering a class factory");
  cookies_.push_back(*cookie);
}

void ClassFactories::Resume() {
  CoResumeClassObjects();
}

void ClassFactories::Revoke() {
  if (cookies_.empty()) return;
  module_.CallsOut().RunOwn([cookies = std::exchange(cookies_, {})] {
    for (const DWORD cookie : cookies) CoRevokeClassObject(cookie);
    return S_OK;
  });
}

}  // namespace tarn
