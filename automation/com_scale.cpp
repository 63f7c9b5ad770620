// A scale and its watchdog.
#include <TarnSclServer.h>

#include <memory>
#include <utility>

#include "automation/client_adapters.hpp"
#include "automation/com_object.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn {
namespace {

class ComScale final
    : public ComObject<::TarnScale, ::__TarnScale, TarnScale, ::_TarnScale, ::_CorrectingScale> {
 public:
  ComScale(ComModule& module, std::shared_ptr<TarnScale> scale)
      : ComObject(module, std::move(scale)) {
    Pass(Core().NewStatus, 1);
    Pass(Core().ScaleConfigurationChange, 2);
    Pass(Core().UpdateWeight, 3);
  }

  COM_PROPERTY(VARIANT_BOOL, watchdog)
  COM_OBJECT(IDispatch, UpdateTimer)
  COM_OBJECT(::_ActivityTimer, ActivityTimer)
  COM_PROPERTY(double, UpdateRate)
  COM_PROPERTY(LONG, ActivityTimeoutTime)
  COM_ANSWER(VARIANT_BOOL, RunScale)
  COM_CALL(StopScale)
  STDMETHODIMP printRequest(VARIANT_BOOL NoWait) override {
    return Guarded([&] { Core().printRequest(IsTrue(NoWait)); });
  }
  COM_GET(VARIANT_BOOL, PRState)
  COM_OBJECT(::_Protocol, Protocol)
  COM_OBJECT(::_Connection, Connection)
  COM_PROPERTY(BSTR, AliasName)
  COM_PROPERTY(VARIANT_BOOL, Disabled)
  COM_PROPERTY(VARIANT_BOOL, ActivityLED)
  COM_PROPERTY(VARIANT_BOOL, ErrorLED)
  COM_GET_KEPT(::_PrintData, PrintData)
  COM_GET_KEPT(::_TarnRecordTemplateData, TarnRecordTemplateData)
  COM_OBJECT(::_SummitData, SummitData)
  COM_GET_KEPT(::_WeightData, WeightData)
  COM_PROPERTY(VARIANT_BOOL, CorrectReadings)
  COM_CALL(C)
  COM_CALL(T)
  STDMETHODIMP SetTare(double* TareValue) override {
    return Guarded([&] { Core().SetTare(*TareValue); });
  }
  COM_CALL(P)
  COM_CALL(Z)
  STDMETHODIMP GetAxDataObj(BSTR* DataObjectName, IDispatch** result) override {
    return Get(result, [&] { return Core().GetAxDataObj(Text(*DataObjectName)); });
  }
};

class ComActivityTimer final
    : public ComObject<::ActivityTimer, ::__ActivityTimer, ActivityTimer, ::_ActivityTimer> {
 public:
  ComActivityTimer(ComModule& module, std::shared_ptr<ActivityTimer> timer)
      : ComObject(module, std::move(timer)) {
    Pass(Core().TimedOutEvent, 1);
  }

  COM_PROPERTY(LONG, TimeoutTime)
  COM_GET(VARIANT_BOOL, TimedOut)
};

}  // namespace

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<TarnScale>& scale) {
  return WrapAs<ComScale>(module, scale);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<ActivityTimer>& timer) {
  return WrapAs<ComActivityTimer>(module, timer);
}

}  // namespace tarn
