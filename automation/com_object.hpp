// What every COM object of the server is made of: identity, late binding, error and class
// information, events.
//
// A class names its coclass, its event interface (void when it raises none), the kind of core
// object that it stands for, and its dual interfaces; a member then is one line:
//
//   STDMETHODIMP get_Units(BSTR* result) override {
//     return Get(result, [this] { return Core()->Units(); });
//   }
//
// Pointers for results are never null: the marshaller sees to that.
#pragma once

#include <windows.h>

#include <ocidl.h>
#include <olectl.h>

#include <any>
#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "automation/com_arrays.hpp"
#include "automation/com_enumerator.hpp"
#include "automation/com_errors.hpp"
#include "automation/com_module.hpp"
#include "automation/com_owners.hpp"
#include "automation/com_values.hpp"
#include "automation/connection_point.hpp"
#include "automation/core_objects.hpp"
#include "automation/dispatch_table.hpp"

namespace tarn {

inline IConnectionPoint* GiveConnectionPoint(const ComPtr<IConnectionPoint>& point) {
  ComPtr<IConnectionPoint> given = point;
  return given.Detach();
}

template <class Coclass, class Events, class CoreKind, class... Interfaces>
class ComObject : public Interfaces...,
                  public ISupportErrorInfo,
                  public IProvideClassInfo2,
                  public IConnectionPointContainer,
                  public ICoreObject {
 public:
  using Kind = CoreKind;
  using First = std::tuple_element_t<0, std::tuple<Interfaces...>>;

  ComObject(ComModule& module, std::shared_ptr<CoreKind> core)
      : module_(module), core_(std::move(core)) {
    if constexpr (!std::is_void_v<Events>) events_.emplace(module, *this, __uuidof(Events));
    module_.AddReference();
  }
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  // IUnknown

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    *object = Find(iid);
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references_;
    if (left > 0) return left;
    // The core object may tell events and serve calls while it goes; who asks for it then gets a
    // COM object of its own.
    module_.Forget(IdentityOf(core_.get()), static_cast<First*>(this));
    delete this;
    return 0;
  }

  // IDispatch

  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    *count = 1;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT index, LCID /*locale*/, ITypeInfo** type) override {
    *type = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    return Guarded([&] { *type = ComPtr<ITypeInfo>(Members().Description()).Detach(); });
  }
  STDMETHODIMP GetIDsOfNames(REFIID /*reserved*/, LPOLESTR* names, UINT count, LCID /*locale*/,
                             DISPID* ids) override {
    HRESULT found = S_OK;
    const HRESULT result = Guarded([&] { found = Members().IdsOfNames(names, count, ids); });
    return FAILED(result) ? result : found;
  }
  STDMETHODIMP Invoke(DISPID id, REFIID reserved, LCID locale, WORD flags, DISPPARAMS* arguments,
                      VARIANT* result, EXCEPINFO* exception, UINT* badArgument) override {
    if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    if (arguments == nullptr) return E_POINTER;
    if (result != nullptr) VariantInit(result);
    const ComModule::LateArguments late(module_, *arguments);
    const std::array<void*, sizeof...(Interfaces)> slots = {static_cast<Interfaces*>(this)...};
    HRESULT called = S_OK;
    const HRESULT guarded = Guarded([&] {
      called = Members().Invoke(slots.data(), id, locale, flags, *arguments, result, exception,
                                badArgument);
    });
    return FAILED(guarded) ? guarded : called;
  }

  // Error and class information

  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID iid) override {
    return ((iid == __uuidof(Interfaces)) || ...) ? S_OK : S_FALSE;
  }
  STDMETHODIMP GetClassInfo(ITypeInfo** type) override {
    *type = nullptr;
    return Guarded([&] { *type = module_.Types().Type(__uuidof(Coclass)).Detach(); });
  }
  STDMETHODIMP GetGUID(DWORD kind, GUID* guid) override {
    *guid = GUID{};
    if (kind != GUIDKIND_DEFAULT_SOURCE_DISP_IID) return E_INVALIDARG;
    if (events_) *guid = events_->Events();
    return S_OK;
  }

  // IConnectionPointContainer

  STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints** points) override {
    using Point = ComPtr<IConnectionPoint>;
    *points = nullptr;
    return Guarded([&] {
      *points = new ComEnumerator<IEnumConnectionPoints, IConnectionPoint*, Point>(
          {events_->ForClients()}, GiveConnectionPoint);
    });
  }
  STDMETHODIMP FindConnectionPoint(REFIID iid, IConnectionPoint** point) override {
    *point = nullptr;
    if (iid != events_->Events()) return CONNECT_E_NOCONNECTION;
    return Guarded([&] { *point = events_->ForClients().Detach(); });
  }

  std::any CoreObject() const override { return core_; }

 protected:
  virtual ~ComObject() { module_.ReleaseReference(); }

  const std::shared_ptr<CoreKind>& Core() const { return core_; }
  ComModule& Module() const { return module_; }

  void Raise(DISPID event, const std::vector<Variant>& arguments = {}) noexcept {
    events_->Raise(event, arguments);
  }
  /// Passes an event of the core on to the clients.
  auto Pass(DISPID event) {
    return [this, event] { Raise(event); };
  }

  /// Reads a value of the core for a client. An object is handed out as its COM object, a row of
  /// values as an array that counts from 1.
  template <class Result, class Read>
  HRESULT Get(Result* result, Read&& read) {
    *result = Result{};
    return Guarded([&] {
      if constexpr (std::is_same_v<Result, SAFEARRAY*>) {
        *result = NewArray(read());
      } else if constexpr (std::is_pointer_v<Result> && !std::is_same_v<Result, BSTR>) {
        *result = Face<std::remove_pointer_t<Result>>(Wrap(module_, read()));
      } else {
        *result = ToCom<Result>(read());
      }
    });
  }

 private:
  /// A client's own object is handed back as it is, without asking it for an interface: it comes
  /// with the contract's, and a script's object, which has none, with the one that scripts use.
  template <class Wanted>
  Wanted* Face(ComPtr<IUnknown> object) const {
    if (object && !OwnObject(module_, object.Get()))
      return reinterpret_cast<Wanted*>(object.Detach());
    return object.template As<Wanted>().Detach();
  }

  const DispatchTable& Members() {
    if (!members_) members_ = &module_.MembersOf(__uuidof(Coclass), {__uuidof(Interfaces)...});
    return *members_;
  }

  void* Find(REFIID iid) {
    if (iid == IID_IUnknown || iid == IID_IDispatch) return static_cast<First*>(this);
    if (iid == IID_ISupportErrorInfo) return static_cast<ISupportErrorInfo*>(this);
    if (iid == IID_IProvideClassInfo || iid == IID_IProvideClassInfo2) {
      return static_cast<IProvideClassInfo2*>(this);
    }
    if (iid == IID_IConnectionPointContainer && events_) {
      return static_cast<IConnectionPointContainer*>(this);
    }
    if (iid == kCoreObjectId) return static_cast<ICoreObject*>(this);
    void* found = nullptr;
    ((found = iid == __uuidof(Interfaces) ? static_cast<Interfaces*>(this) : found), ...);
    return found;
  }

  ComModule& module_;
  std::atomic<ULONG> references_ = 1;
  std::shared_ptr<CoreKind> core_;
  std::optional<ConnectionPoint> events_;
  const DispatchTable* members_ = nullptr;  ///< the module's, once a script asked
};

/// The COM object of a core object: the one that there is, or a new one.
template <class Class>
ComPtr<IUnknown> WrapAs(ComModule& module, const std::shared_ptr<typename Class::Kind>& core) {
  if (!core) return {};
  if (IUnknown* known = module.Find(IdentityOf(core.get()))) return ComPtr<IUnknown>(known);
  ComPtr<IUnknown> made;
  *made.Receive() = static_cast<typename Class::First*>(new Class(module, core));
  module.Remember(IdentityOf(core.get()), made.Get());
  return made;
}

}  // namespace tarn
