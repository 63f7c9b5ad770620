// The base of every COM object of the server.
//
// It has identity, late binding, error and class information, and events.
// A class names its coclass, its event interface (void when it raises none), the kind of core
// object that it stands for, and its dual interfaces. Its members are the lines of com_members.hpp.
//
// Pointers for results are never null: the marshaller sees to that.
#pragma once

#include <windows.h>

#include <ocidl.h>
#include <olectl.h>

#include <any>
#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "automation/com_arrays.hpp"
#include "automation/com_enumerator.hpp"
#include "automation/com_errors.hpp"
#include "automation/com_members.hpp"
#include "automation/com_module.hpp"
#include "automation/com_owners.hpp"
#include "automation/com_values.hpp"
#include "automation/connection_point.hpp"
#include "automation/core_objects.hpp"
#include "automation/dispatch_table.hpp"
#include "base/event.hpp"

namespace tarn {

inline IConnectionPoint* GiveConnectionPoint(const ComPtr<IConnectionPoint>& point) {
  ComPtr<IConnectionPoint> given = point;
  return given.Detach();
}

/// Becomes what the core takes where it is passed on.
template <class Given>
class ConvertingArgument {
 public:
  ConvertingArgument(ComModule& module, Given given) : module_(module), given_(given) {}

  template <class Wanted>
  operator Wanted() const {  // NOLINT(google-explicit-constructor): that is what it is for
    if constexpr (std::is_same_v<Wanted, bool>)
      return IsTrue(given_);
    else if constexpr (std::is_pointer_v<Given>)
      return ObjectFrom<typename Wanted::element_type>(module_, given_);
    else
      return Wanted{given_};
  }

 private:
  ComModule& module_;
  Given given_;
};

template <class Coclass, class Events, class CoreKind, class... Interfaces>
class ComObject : public Interfaces...,
                  public ISupportErrorInfo,
                  public IProvideClassInfo2,
                  public IConnectionPointContainer,
                  public ICoreObject {
 public:
  using Class = Coclass;
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
    // The core object may raise events and serve calls while it is destroyed. A client that asks
    // for it meanwhile gets a new COM object.
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
    LetGo();
    return Guarded([&] {
      *points = new ComEnumerator<IEnumConnectionPoints, IConnectionPoint*, Point>(
          {events_->ForClients()}, GiveConnectionPoint);
    });
  }
  STDMETHODIMP FindConnectionPoint(REFIID iid, IConnectionPoint** point) override {
    *point = nullptr;
    if (iid != events_->Events()) return CONNECT_E_NOCONNECTION;
    LetGo();
    return Guarded([&] { *point = events_->ForClients().Detach(); });
  }

  // ICoreObject

  std::any CoreObject() const override { return core_; }
  std::function<ComPtr<IUnknown>()> WrapAgain() const override {
    if constexpr (requires { Wrap(module_, core_); }) {
      return [&module = module_, core = core_] { return Wrap(module, core); };
    } else {
      return nullptr;
    }
  }

  bool MayBeKept() const override { return !events_ || !events_->HasSubscribers(); }

 protected:
  virtual ~ComObject() { module_.ReleaseReference(); }

  CoreKind& Core() const { return *core_; }
  ComModule& Module() const { return module_; }

  /// Reads an object that stays the same, and keeps its COM object from then on.
  template <class Result, class Read>
  HRESULT GetKept(Kept& place, Result* result, Read&& read) {
    const HRESULT got = Get(result, std::forward<Read>(read));
    if (SUCCEEDED(got)) place.Keep(*result);
    return got;
  }

  /// Passes an event of the core on to the clients, with its values.
  template <class... Values>
  void Pass(Event<Values...>& event, DISPID id) {
    passed_.push_back(event.Subscribe(
        [this, id](const Values&... values) { events_->Raise(id, {ToVariant(values)...}); }));
  }

  /// An argument from a client as what the core takes.
  template <class Given>
  auto Argument(Given given) const {
    if constexpr (std::is_same_v<Given, BSTR>)
      return tarn::Text(given);
    else
      return ConvertingArgument<Given>(module_, given);
  }

  /// Runs a member. A client that the core waits for meanwhile does not answer for that time.
  template <class Work>
  HRESULT Guarded(Work&& work) {
    const Lanes::Elsewhere served(module_.CallsOut().ClientLanes());
    return tarn::Guarded(std::forward<Work>(work));
  }

  /// Reads a value of the core for a client. An object is handed out as its COM object, a row of
  /// values as an array that counts from 1.
  template <class Result, class Read>
  HRESULT Get(Result* result, Read&& read) {
    *result = Result{};
    return Guarded([&] {
      if constexpr (std::is_same_v<Result, SAFEARRAY*>) {
        *result = NewArray(read());
      } else if constexpr (std::is_same_v<Result, VARIANT>) {
        *result = ToVariant(read()).Detach();
      } else if constexpr (std::is_pointer_v<Result> && !std::is_same_v<Result, BSTR>) {
        *result = Face<std::remove_pointer_t<Result>>(Wrap(module_, read()));
      } else {
        *result = ToCom<Result>(read());
      }
    });
  }

 private:
  /// A client is about to subscribe.
  void LetGo() { module_.LetGo(static_cast<First*>(this)); }

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
  std::vector<Subscription> passed_;
};

/// One class of a contract: adds to the contract's face, `Base`, the core object as its own class
/// knows it.
template <class CoreClass, class Base>
class ComClass : public Base {
 public:
  static constexpr std::string_view kName = CoreClass::kClassName;
  using Base::Base;

 protected:
  CoreClass& Core() const { return static_cast<CoreClass&>(Base::Core()); }
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
