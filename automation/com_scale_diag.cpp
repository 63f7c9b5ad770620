// The scale diagnostic data of a terminal.
#include "shareddata/tarn_scale_diag_data.hpp"

#include "automation/com_summit_data.hpp"

namespace tarn {
namespace {

class ComScaleDiagData final : public ComDataSet<TarnScaleDiagData, ::TarnScaleDiagData,
                                                 ::__TarnScaleDiagData, ::_TarnScaleDiagData> {
 public:
  ComScaleDiagData(ComModule& module, std::shared_ptr<tarn::_SummitData> data)
      : ComDataSet(module, std::move(data), 2) {
    onCaptureCountsError_ = Data().CaptureCountsError.Subscribe(Pass(1));
  }

  STDMETHODIMP get_ScaleCalZeroCounts(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().ScaleCalZeroCounts(nIndex); });
  }
  STDMETHODIMP get_ScaleCalZeroCountsArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ScaleCalZeroCountsArray(); });
  }
  STDMETHODIMP get_ScaleCurrentZeroCounts(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().ScaleCurrentZeroCounts(nIndex); });
  }
  STDMETHODIMP get_ScaleCurrentZeroCountsArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ScaleCurrentZeroCountsArray(); });
  }
  STDMETHODIMP get_ScaleCurrentCounts(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().ScaleCurrentCounts(nIndex); });
  }
  STDMETHODIMP get_ScaleCurrentCountsArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ScaleCurrentCountsArray(); });
  }
  STDMETHODIMP get_ScaleCalHighCounts(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().ScaleCalHighCounts(nIndex); });
  }
  STDMETHODIMP get_ScaleCalHighCountsArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ScaleCalHighCountsArray(); });
  }
  STDMETHODIMP get_ScaleCalHighWeight(SHORT nIndex, BSTR* result) override {
    return Get(result, [&] { return Data().ScaleCalHighWeight(nIndex); });
  }
  STDMETHODIMP get_ScaleCalHighWeightArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ScaleCalHighWeightArray(); });
  }
  STDMETHODIMP get_ScaleCalMidCounts(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().ScaleCalMidCounts(nIndex); });
  }
  STDMETHODIMP get_ScaleCalMidCountsArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ScaleCalMidCountsArray(); });
  }
  STDMETHODIMP get_ScaleCalMidWeight(SHORT nIndex, BSTR* result) override {
    return Get(result, [&] { return Data().ScaleCalMidWeight(nIndex); });
  }
  STDMETHODIMP get_ScaleCalMidWeightArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ScaleCalMidWeightArray(); });
  }
  STDMETHODIMP get_ScaleCriticalError(SHORT nIndex, VARIANT_BOOL* result) override {
    return Get(result, [&] { return Data().ScaleCriticalError(nIndex); });
  }
  STDMETHODIMP get_ScaleCriticalErrorArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ScaleCriticalErrorArray(); });
  }
  STDMETHODIMP get_LastScaleError(SHORT nIndex, BSTR* result) override {
    return Get(result, [&] { return Data().LastScaleError(nIndex); });
  }
  STDMETHODIMP get_LastScaleErrorArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().LastScaleErrorArray(); });
  }
  STDMETHODIMP get_ScaleErrorCounter(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().ScaleErrorCounter(nIndex); });
  }
  STDMETHODIMP get_ScaleErrorCounterArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ScaleErrorCounterArray(); });
  }
  STDMETHODIMP get_WeighmentCounter(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().WeighmentCounter(nIndex); });
  }
  STDMETHODIMP get_WeighmentCounterArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().WeighmentCounterArray(); });
  }
  STDMETHODIMP get_ScaleOverloadCounter(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().ScaleOverloadCounter(nIndex); });
  }
  STDMETHODIMP get_ScaleOverloadCounterArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ScaleOverloadCounterArray(); });
  }
  STDMETHODIMP get_ScaleImpactCounter(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().ScaleImpactCounter(nIndex); });
  }
  STDMETHODIMP get_ScaleImpactCounterArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ScaleImpactCounterArray(); });
  }
  STDMETHODIMP get_ScaleZeroCounter(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().ScaleZeroCounter(nIndex); });
  }
  STDMETHODIMP get_ScaleZeroCounterArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ScaleZeroCounterArray(); });
  }
  STDMETHODIMP get_ScaleZeroFailCounter(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().ScaleZeroFailCounter(nIndex); });
  }
  STDMETHODIMP get_ScaleZeroFailCounterArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ScaleZeroFailCounterArray(); });
  }

 private:
  Subscription onCaptureCountsError_;
};

}  // namespace

ComPtr<IUnknown> WrapScaleDiagData(ComModule& module, const std::shared_ptr<_SummitData>& data) {
  return WrapAs<ComScaleDiagData>(module, data);
}

}  // namespace tarn
