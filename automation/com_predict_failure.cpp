// The failure-prediction data of the load cells.
#include "shareddata/tarn_predict_failure_data.hpp"

#include "automation/com_summit_data.hpp"

namespace tarn {
namespace {

class ComPredictFailureData final
    : public ComDataSet<TarnPredictFailureData, ::TarnPredictFailureData,
                        ::__TarnPredictFailureData, ::_TarnPredictFailureData> {
 public:
  ComPredictFailureData(ComModule& module, std::shared_ptr<tarn::_SummitData> data)
      : ComDataSet(module, std::move(data), 1) {}

  STDMETHODIMP MaxNumCells(SHORT* result) override {
    return Get(result, [this] { return Data().MaxNumCells(); });
  }
  STDMETHODIMP get_NumberActiveCells(SHORT* result) override {
    return Get(result, [this] { return Data().NumberActiveCells(); });
  }
  STDMETHODIMP get_ScanTableCellAddress(SHORT nIndex, unsigned char* result) override {
    return Get(result, [&] { return Data().ScanTableCellAddress(nIndex); });
  }
  STDMETHODIMP get_ScanTable(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ScanTable(); });
  }
  STDMETHODIMP get_ReplacementCell(SHORT nIndex, unsigned char* result) override {
    return Get(result, [&] { return Data().ReplacementCell(nIndex); });
  }
  STDMETHODIMP get_ReplacementCellArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ReplacementCellArray(); });
  }
  STDMETHODIMP get_BadCell(SHORT nIndex, unsigned char* result) override {
    return Get(result, [&] { return Data().BadCell(nIndex); });
  }
  STDMETHODIMP get_BadCellArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().BadCellArray(); });
  }
  STDMETHODIMP get_SymmetryFailure(SHORT nIndex, unsigned char* result) override {
    return Get(result, [&] { return Data().SymmetryFailure(nIndex); });
  }
  STDMETHODIMP get_SymmetryFailureArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().SymmetryFailureArray(); });
  }
  STDMETHODIMP get_EstimatingWeightStatus(SHORT nIndex, VARIANT_BOOL* result) override {
    return Get(result, [&] { return Data().EstimatingWeightStatus(nIndex); });
  }
  STDMETHODIMP get_EstimatingWeightStatusArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().EstimatingWeightStatusArray(); });
  }
  STDMETHODIMP get_CellZeroDriftStatus(SHORT nIndex, unsigned char* result) override {
    return Get(result, [&] { return Data().CellZeroDriftStatus(nIndex); });
  }
  STDMETHODIMP get_CellZeroDriftStatusArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().CellZeroDriftStatusArray(); });
  }
  STDMETHODIMP get_CellSymFailCounter(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().CellSymFailCounter(nIndex); });
  }
  STDMETHODIMP get_CellSymFailCounterArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().CellSymFailCounterArray(); });
  }
  STDMETHODIMP get_CellZeroDriftCounter(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().CellZeroDriftCounter(nIndex); });
  }
  STDMETHODIMP get_CellZeroDriftCounterArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().CellZeroDriftCounterArray(); });
  }
};

}  // namespace

ComPtr<IUnknown> WrapPredictFailureData(ComModule& module,
                                        const std::shared_ptr<_SummitData>& data) {
  return WrapAs<ComPredictFailureData>(module, data);
}

}  // namespace tarn
