#include "automation/com_module.hpp"

#include <objbase.h>

#include <algorithm>
#include <utility>

#include "automation/core_objects.hpp"
#include "automation/unattached_site.hpp"

namespace tarn {

ComModule::ComModule(Host& host, const std::wstring& program, const LaneLimits& limits,
                     const std::function<void()>& unused)
    : host_(host),
      types_(program),
      callsOut_(std::make_shared<OutgoingCalls>(host, limits)),
      unused_(unused),
      clients_(host, *callsOut_, unused) {}

const DispatchTable& ComModule::MembersOf(const CLSID& coclass,
                                          const std::vector<IID>& interfaces) {
  const std::wstring name = GuidText(coclass);
  const auto known = members_.find(name);
  if (known != members_.end()) return known->second;
  return members_.emplace(name, DispatchTable(types_, interfaces)).first->second;
}

std::shared_ptr<ScaleSite> ComModule::ClientSite() {
  if (!clientSite_) clientSite_ = MakeUnattachedSite(host_);
  return clientSite_;
}

IUnknown* ComModule::Find(const void* core) const {
  const auto object = objects_.find(core);
  return object == objects_.end() ? nullptr : object->second;
}

/// A successor may stand there already, when the core object was asked for once more while its
/// former COM object went.
void ComModule::Forget(const void* core, const IUnknown* object) {
  const auto entry = objects_.find(core);
  if (entry != objects_.end() && entry->second == object) objects_.erase(entry);
}

bool ComModule::IsOwn(const IUnknown* object) const {
  return std::any_of(objects_.begin(), objects_.end(),
                     [object](const auto& known) { return known.second == object; });
}

void ComModule::Keep(IUnknown* object) {
  if (!ComPtr<IUnknown>(object).As<ICoreObject>(kCoreObjectId)->MayBeKept()) return;
  const auto [entry, isNew] = kept_.try_emplace(object, object);
  if (isNew) CoLockObjectExternal(object, TRUE, FALSE);
}

void ComModule::LetGo(const IUnknown* object) {
  const auto entry = kept_.extract(object);
  if (entry) CoLockObjectExternal(entry.mapped().Get(), FALSE, TRUE);
}

void Kept::Keep(IUnknown* object) {
  if (object_ != object) LetGo();
  object_ = object;
  if (object != nullptr) module_.Keep(object);
}

ComPtr<IUnknown> ComModule::MindForeign(IUnknown* object) const {
  auto identity = ComPtr<IUnknown>(object).As<IUnknown>(IID_IUnknown);
  if (object != nullptr && !IsOwn(identity.Get())) callsOut_->GiveBackLater(object);
  return identity;
}

ComModule::LateArguments::LateArguments(ComModule& module, const DISPPARAMS& arguments)
    : late_(module.lateArguments_), before_(late_.size()) {
  for (UINT i = 0; i < arguments.cArgs; ++i) {
    const VARIANT* given = &arguments.rgvarg[i];
    if (V_VT(given) == (VT_BYREF | VT_VARIANT)) given = V_VARIANTREF(given);
    if (V_VT(given) == VT_DISPATCH) late_.push_back(V_DISPATCH(given));
    if (V_VT(given) == (VT_BYREF | VT_DISPATCH)) late_.push_back(*V_DISPATCHREF(given));
    if (V_VT(given) == VT_UNKNOWN) module.MindForeign(V_UNKNOWN(given));
  }
  for (std::size_t i = before_; i < late_.size(); ++i) {
    module.MindForeign(static_cast<IDispatch*>(const_cast<void*>(late_[i])));
  }
}

IID ComModule::CameAs(const IUnknown* argument, const IID& declared) const {
  const bool late =
      std::find(lateArguments_.begin(), lateArguments_.end(), argument) != lateArguments_.end();
  return late ? IID_IDispatch : declared;
}

void ComModule::ReleaseReference() {
  if (--references_ == 0) unused_();
}

}  // namespace tarn
