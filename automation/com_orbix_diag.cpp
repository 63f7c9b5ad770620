// The load-cell diagnostic data of a terminal.
#include "shareddata/tarn_orbix_diag_data.hpp"

#include "automation/com_summit_data.hpp"

namespace tarn {
namespace {

class ComOrbixDiagData final : public ComDataSet<TarnOrbixDiagData, ::TarnOrbixDiagData,
                                                 ::__TarnOrbixDiagData, ::_TarnOrbixDiagData> {
 public:
  ComOrbixDiagData(ComModule& module, std::shared_ptr<tarn::_SummitData> data)
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
  STDMETHODIMP get_CellCounts(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().CellCounts(nIndex); });
  }
  STDMETHODIMP get_CellCountsArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().CellCountsArray(); });
  }
  STDMETHODIMP get_CellErrorNumber(SHORT nIndex, unsigned char* result) override {
    return Get(result, [&] { return Data().CellErrorNumber(nIndex); });
  }
  STDMETHODIMP get_CellErrorNumberArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().CellErrorNumberArray(); });
  }
  STDMETHODIMP get_CellOverloadStatus(SHORT nIndex, unsigned char* result) override {
    return Get(result, [&] { return Data().CellOverloadStatus(nIndex); });
  }
  STDMETHODIMP get_CellOverloadStatusArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().CellOverloadStatusArray(); });
  }
};

}  // namespace

ComPtr<IUnknown> WrapOrbixDiagData(ComModule& module, const std::shared_ptr<_SummitData>& data) {
  return WrapAs<ComOrbixDiagData>(module, data);
}

}  // namespace tarn
