// A scale and its watchdog.
#include <TarnSclServer.h>

#include <memory>
#include <utility>

#include "automation/client_contracts.hpp"
#include "automation/com_object.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn {
namespace {

class ComScale final : public ComObject<::TarnScale, ::__TarnScale, TarnScale, ::_TarnScale> {
 public:
  ComScale(ComModule& module, std::shared_ptr<TarnScale> scale)
      : ComObject(module, std::move(scale)) {
    onNewStatus_ = Core()->NewStatus.Subscribe(Pass(1));
    onConfigurationChange_ = Core()->ScaleConfigurationChange.Subscribe(Pass(2));
    onUpdateWeight_ = Core()->UpdateWeight.Subscribe(Pass(3));
  }

  STDMETHODIMP get_watchdog(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->watchdog(); });
  }
  STDMETHODIMP put_watchdog(VARIANT_BOOL value) override {
    return Guarded([&] { Core()->watchdog(IsTrue(value)); });
  }
  STDMETHODIMP get_UpdateTimer(IDispatch** result) override {
    return Get(result, [this] { return Core()->UpdateTimer(); });
  }
  STDMETHODIMP putref_UpdateTimer(IDispatch* value) override {
    return Guarded([&] { Core()->UpdateTimer(CoreOf<Timer>(Module(), value)); });
  }
  STDMETHODIMP get_ActivityTimer(::_ActivityTimer** result) override {
    return Get(result, [this] { return Core()->ActivityTimer(); });
  }
  STDMETHODIMP putref_ActivityTimer(::_ActivityTimer* value) override {
    return Guarded([&] { Core()->ActivityTimer(CoreOf<ActivityTimer>(Module(), value)); });
  }
  STDMETHODIMP put_UpdateRate(double value) override {
    return Guarded([&] { Core()->UpdateRate(value); });
  }
  STDMETHODIMP get_UpdateRate(double* result) override {
    return Get(result, [this] { return Core()->UpdateRate(); });
  }
  STDMETHODIMP put_ActivityTimeoutTime(LONG value) override {
    return Guarded([&] { Core()->ActivityTimeoutTime(value); });
  }
  STDMETHODIMP get_ActivityTimeoutTime(LONG* result) override {
    return Get(result, [this] { return Core()->ActivityTimeoutTime(); });
  }
  STDMETHODIMP RunScale(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->RunScale(); });
  }
  STDMETHODIMP StopScale() override {
    return Guarded([this] { Core()->StopScale(); });
  }
  STDMETHODIMP printRequest(VARIANT_BOOL NoWait) override {
    return Guarded([&] { Core()->printRequest(IsTrue(NoWait)); });
  }
  STDMETHODIMP get_PRState(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->PRState(); });
  }
  STDMETHODIMP get_Protocol(::_Protocol** result) override {
    return Get(result, [this] { return Core()->Protocol(); });
  }
  STDMETHODIMP putref_Protocol(::_Protocol* value) override {
    return Guarded([&] { Core()->Protocol(ProtocolOf(Module(), value)); });
  }
  STDMETHODIMP get_Connection(::_Connection** result) override {
    return Get(result, [this] { return Core()->Connection(); });
  }
  STDMETHODIMP putref_Connection(::_Connection* value) override {
    return Guarded([&] { Core()->Connection(ConnectionOf(Module(), value)); });
  }
  STDMETHODIMP put_AliasName(BSTR value) override {
    return Guarded([&] { Core()->AliasName(Text(value)); });
  }
  STDMETHODIMP get_AliasName(BSTR* result) override {
    return Get(result, [this] { return Core()->AliasName(); });
  }
  STDMETHODIMP get_Disabled(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->Disabled(); });
  }
  STDMETHODIMP put_Disabled(VARIANT_BOOL value) override {
    return Guarded([&] { Core()->Disabled(IsTrue(value)); });
  }
  STDMETHODIMP get_ActivityLED(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->ActivityLED(); });
  }
  STDMETHODIMP put_ActivityLED(VARIANT_BOOL value) override {
    return Guarded([&] { Core()->ActivityLED(IsTrue(value)); });
  }
  STDMETHODIMP get_ErrorLED(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->ErrorLED(); });
  }
  STDMETHODIMP put_ErrorLED(VARIANT_BOOL value) override {
    return Guarded([&] { Core()->ErrorLED(IsTrue(value)); });
  }
  STDMETHODIMP get_PrintData(::_PrintData** result) override {
    return Get(result, [this] { return Core()->PrintData(); });
  }
  STDMETHODIMP get_TarnRecordTemplateData(::_TarnRecordTemplateData** result) override {
    return Get(result, [this] { return Core()->TarnRecordTemplateData(); });
  }
  STDMETHODIMP putref_SummitData(::_SummitData* value) override {
    return Guarded([&] { Core()->SummitData(SummitDataOf(Module(), value)); });
  }
  STDMETHODIMP get_SummitData(::_SummitData** result) override {
    return Get(result, [this] { return Core()->SummitData(); });
  }
  STDMETHODIMP get_WeightData(::_WeightData** result) override {
    return Get(result, [this] { return Core()->WeightData(); });
  }
  STDMETHODIMP C() override {
    return Guarded([this] { Core()->C(); });
  }
  STDMETHODIMP T() override {
    return Guarded([this] { Core()->T(); });
  }
  STDMETHODIMP SetTare(double* TareValue) override {
    return Guarded([&] { Core()->SetTare(*TareValue); });
  }
  STDMETHODIMP P() override {
    return Guarded([this] { Core()->P(); });
  }
  STDMETHODIMP Z() override {
    return Guarded([this] { Core()->Z(); });
  }
  STDMETHODIMP GetAxDataObj(BSTR* DataObjectName, IDispatch** result) override {
    return Get(result, [&] { return Core()->GetAxDataObj(Text(*DataObjectName)); });
  }

 private:
  Subscription onNewStatus_;
  Subscription onConfigurationChange_;
  Subscription onUpdateWeight_;
};

class ComActivityTimer final
    : public ComObject<::ActivityTimer, ::__ActivityTimer, ActivityTimer, ::_ActivityTimer> {
 public:
  ComActivityTimer(ComModule& module, std::shared_ptr<ActivityTimer> timer)
      : ComObject(module, std::move(timer)) {
    onTimedOut_ = Core()->TimedOutEvent.Subscribe(Pass(1));
  }

  STDMETHODIMP put_TimeoutTime(LONG value) override {
    return Guarded([&] { Core()->TimeoutTime(value); });
  }
  STDMETHODIMP get_TimeoutTime(LONG* result) override {
    return Get(result, [this] { return Core()->TimeoutTime(); });
  }
  STDMETHODIMP get_TimedOut(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->TimedOut(); });
  }

 private:
  Subscription onTimedOut_;
};

}  // namespace

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<TarnScale>& scale) {
  return WrapAs<ComScale>(module, scale);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<ActivityTimer>& timer) {
  return WrapAs<ComActivityTimer>(module, timer);
}

}  // namespace tarn
