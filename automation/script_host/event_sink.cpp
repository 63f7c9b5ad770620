#include "automation/script_host/event_sink.hpp"

#include <map>
#include <string>
#include <utility>

#include "automation/com_unknown.hpp"

namespace tarn::script_host {
namespace {

/// The event interface that a class marks as its default one; null when it has none.
ComPtr<ITypeInfo> EventsOfClass(ITypeInfo& coclass) {
  TYPEATTR* attributes = nullptr;
  Check(coclass.GetTypeAttr(&attributes));
  const UINT count = attributes->cImplTypes;
  coclass.ReleaseTypeAttr(attributes);
  for (UINT i = 0; i < count; ++i) {
    constexpr INT kDefaultSource = IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE;
    INT flags = 0;
    Check(coclass.GetImplTypeFlags(i, &flags));
    if ((flags & kDefaultSource) != kDefaultSource) continue;
    HREFTYPE reference = 0;
    Check(coclass.GetRefTypeOfImplType(i, &reference));
    ComPtr<ITypeInfo> events;
    Check(coclass.GetRefTypeInfo(reference, events.Receive()));
    return events;
  }
  return {};
}

ComPtr<ITypeInfo> EventsOf(IDispatch& source) {
  const auto classInfo = ComPtr<IDispatch>(&source).As<IProvideClassInfo>(IID_IProvideClassInfo);
  if (!classInfo) throw CONNECT_E_NOCONNECTION;
  ComPtr<ITypeInfo> coclass;
  Check(classInfo->GetClassInfo(coclass.Receive()));
  auto events = EventsOfClass(*coclass.Get());
  if (!events) throw CONNECT_E_NOCONNECTION;
  return events;
}

IID IdOf(ITypeInfo& type) {
  TYPEATTR* attributes = nullptr;
  Check(type.GetTypeAttr(&attributes));
  const IID iid = attributes->guid;
  type.ReleaseTypeAttr(attributes);
  return iid;
}

std::map<DISPID, std::wstring> NamesOf(ITypeInfo& events) {
  TYPEATTR* attributes = nullptr;
  Check(events.GetTypeAttr(&attributes));
  const UINT count = attributes->cFuncs;
  events.ReleaseTypeAttr(attributes);
  std::map<DISPID, std::wstring> names;
  for (UINT i = 0; i < count; ++i) {
    FUNCDESC* function = nullptr;
    Check(events.GetFuncDesc(i, &function));
    const DISPID id = function->memid;
    events.ReleaseFuncDesc(function);
    Bstr name;
    UINT found = 0;
    Check(events.GetNames(id, name.Receive(), 1, &found));
    names.emplace(id, name.Text());
  }
  return names;
}

/// Knows only IDispatch, not the event interface itself, as the sinks of scripts do everywhere.
class Sink final : public NamelessDispatch<CountedObject<IDispatch>> {
 public:
  Sink(std::map<DISPID, std::wstring> names, EventHandler handler)
      : names_(std::move(names)), handler_(std::move(handler)) {}

  STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT*, EXCEPINFO*,
                      UINT*) override {
    const auto name = names_.find(id);
    return name == names_.end() ? S_OK : handler_(name->second, *arguments);
  }

 private:
  std::map<DISPID, std::wstring> names_;
  EventHandler handler_;
};

}  // namespace

EventConnection::EventConnection(IDispatch& source, EventHandler handler) {
  const auto events = EventsOf(source);
  const IID iid = IdOf(*events.Get());
  source_ = ComPtr<IDispatch>(&source).As<IUnknown>(IID_IUnknown);
  const auto container = source_.As<IConnectionPointContainer>(IID_IConnectionPointContainer);
  if (!container) throw CONNECT_E_NOCONNECTION;
  Check(container->FindConnectionPoint(iid, point_.Receive()));
  ComPtr<IDispatch> sink;
  *sink.Receive() = new Sink(NamesOf(*events.Get()), std::move(handler));
  Check(point_->Advise(sink.Get(), &cookie_));
}

void EventConnection::Disconnect() {
  if (!point_) return;
  const auto point = std::exchange(point_, {});
  point->Unadvise(cookie_);
  source_.Reset();
}

bool EventConnection::IsOf(IUnknown& object) const {
  return source_ && ComPtr<IUnknown>(&object).As<IUnknown>(IID_IUnknown).Get() == source_.Get();
}

}  // namespace tarn::script_host
