// The data objects that file the values of terminal variables, as COM objects.
#pragma once

#include <TarnSclServer.h>

#include <memory>
#include <utility>

#include "automation/com_arrays.hpp"
#include "automation/com_object.hpp"
#include "automation/tag_variants.hpp"
#include "shareddata/sd_tag_info.hpp"
#include "shareddata/tarn_kes_basic_data.hpp"
#include "shareddata/tarn_orbix_diag_data.hpp"
#include "shareddata/tarn_predict_failure_data.hpp"
#include "shareddata/tarn_scale_diag_data.hpp"

namespace tarn {

/// The members of the contract; `Own` is the face beside it, `Events` its events.
template <class Coclass, class Events, class... Own>
class ComSummitDataOf : public ComObject<Coclass, Events, _SummitData, Own..., ::_SummitData> {
 public:
  static constexpr std::string_view kName = "SummitData";
  using ComObject<Coclass, Events, _SummitData, Own..., ::_SummitData>::ComObject;

  COM_PROPERTY(VARIANT_BOOL, CommLossError)
  COM_PROPERTY(VARIANT_BOOL, NoDataError)
  COM_CALL(ConfigurationChanged)
  COM_CALL(DataUpdated)
  STDMETHODIMP SetBitData(VARIANT_BOOL TagData, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { this->Core().SetBitData(IsTrue(TagData), Tag(myTagInfo)); });
  }
  STDMETHODIMP SetByteData(unsigned char TagData, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { this->Core().SetByteData(TagData, Tag(myTagInfo)); });
  }
  STDMETHODIMP SetCharArrayData(SAFEARRAY** TagData, SHORT dataLen,
                                ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] {
      auto bytes = BytesOf(*TagData);
      this->Core().SetCharArrayData(bytes, dataLen, Tag(myTagInfo));
    });
  }
  STDMETHODIMP SetLongData(LONG TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { this->Core().SetLongData(TagData, dataIndex, Tag(myTagInfo)); });
  }
  STDMETHODIMP SetFloatData(float TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { this->Core().SetFloatData(TagData, dataIndex, Tag(myTagInfo)); });
  }
  STDMETHODIMP SetDoubleData(double TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { this->Core().SetDoubleData(TagData, dataIndex, Tag(myTagInfo)); });
  }
  STDMETHODIMP SetStringData(BSTR TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { this->Core().SetStringData(Text(TagData), dataIndex, Tag(myTagInfo)); });
  }
  STDMETHODIMP SetIntData(SHORT TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { this->Core().SetIntData(TagData, dataIndex, Tag(myTagInfo)); });
  }
  COM_CALL(ResetState)
  COM_ANSWER(VARIANT_BOOL, TriggersComplete)

 private:
  std::shared_ptr<SDTagInfo> Tag(::_SDTagInfo* tag) const {
    return CoreOf<SDTagInfo>(this->Module(), tag);
  }
};

/// The base class itself, and what stands for a class that the library does not know.
using ComSummitData = ComSummitDataOf<::SummitData, void>;

/// A data set: its events, and the contract's members that its own face repeats. The ids of the
/// events CommLossError, ConfigChanged and NewDataReady begin with `kFirstEvent`.
template <class DataSet, class Coclass, class Events, class Own, DISPID kFirstEvent = 1>
class ComDataSet : public ComClass<DataSet, ComSummitDataOf<Coclass, Events, Own>> {
 public:
  ComDataSet(ComModule& module, std::shared_ptr<tarn::_SummitData> core)
      : ComClass<DataSet, ComSummitDataOf<Coclass, Events, Own>>(module, std::move(core)) {
    this->Pass(this->Core().CommLossErrorEvent, kFirstEvent);
    this->Pass(this->Core().ConfigChanged, kFirstEvent + 1);
    this->Pass(this->Core().NewDataReady, kFirstEvent + 2);
  }

  STDMETHODIMP get_SummitData_CommLossError(VARIANT_BOOL* result) override {
    return this->get_CommLossError(result);
  }
  STDMETHODIMP get_SummitData_NoDataError(VARIANT_BOOL* result) override {
    return this->get_NoDataError(result);
  }
  STDMETHODIMP SummitData_SetStringData(BSTR TagData, SHORT dataIndex,
                                        ::_SDTagInfo* myTagInfo) override {
    return this->SetStringData(TagData, dataIndex, myTagInfo);
  }
  STDMETHODIMP SummitData_SetIntData(SHORT TagData, SHORT dataIndex,
                                     ::_SDTagInfo* myTagInfo) override {
    return this->SetIntData(TagData, dataIndex, myTagInfo);
  }
};

/// The calibration and the counters of the scales.
class ComScaleDiagData final : public ComDataSet<TarnScaleDiagData, ::TarnScaleDiagData,
                                                 ::__TarnScaleDiagData, ::_TarnScaleDiagData, 2> {
 public:
  ComScaleDiagData(ComModule& module, std::shared_ptr<tarn::_SummitData> data)
      : ComDataSet(module, std::move(data)) {
    Pass(Core().CaptureCountsError, 1);
  }

  COM_ROW(LONG, ScaleCalZeroCounts)
  COM_ROW(LONG, ScaleCurrentZeroCounts)
  COM_ROW(LONG, ScaleCurrentCounts)
  COM_ROW(LONG, ScaleCalHighCounts)
  COM_ROW(BSTR, ScaleCalHighWeight)
  COM_ROW(LONG, ScaleCalMidCounts)
  COM_ROW(BSTR, ScaleCalMidWeight)
  COM_ROW(VARIANT_BOOL, ScaleCriticalError)
  COM_ROW(BSTR, LastScaleError)
  COM_ROW(LONG, ScaleErrorCounter)
  COM_ROW(LONG, WeighmentCounter)
  COM_ROW(LONG, ScaleOverloadCounter)
  COM_ROW(LONG, ScaleImpactCounter)
  COM_ROW(LONG, ScaleZeroCounter)
  COM_ROW(LONG, ScaleZeroFailCounter)
};

/// The predicted failures of the load cells.
class ComPredictFailureData final
    : public ComDataSet<TarnPredictFailureData, ::TarnPredictFailureData,
                        ::__TarnPredictFailureData, ::_TarnPredictFailureData> {
 public:
  using ComDataSet::ComDataSet;

  COM_ANSWER(SHORT, MaxNumCells)
  COM_GET(SHORT, NumberActiveCells)
  COM_ELEMENT(unsigned char, ScanTableCellAddress)
  COM_GET(SAFEARRAY*, ScanTable)
  COM_ROW(unsigned char, ReplacementCell)
  COM_ROW(unsigned char, BadCell)
  COM_ROW(unsigned char, SymmetryFailure)
  COM_ROW(VARIANT_BOOL, EstimatingWeightStatus)
  COM_ROW(unsigned char, CellZeroDriftStatus)
  COM_ROW(LONG, CellSymFailCounter)
  COM_ROW(LONG, CellZeroDriftCounter)
};

/// The diagnosis of the load cells.
class ComOrbixDiagData final : public ComDataSet<TarnOrbixDiagData, ::TarnOrbixDiagData,
                                                 ::__TarnOrbixDiagData, ::_TarnOrbixDiagData> {
 public:
  using ComDataSet::ComDataSet;

  COM_ANSWER(SHORT, MaxNumCells)
  COM_GET(SHORT, NumberActiveCells)
  COM_ELEMENT(unsigned char, ScanTableCellAddress)
  COM_GET(SAFEARRAY*, ScanTable)
  COM_ROW(LONG, CellCounts)
  COM_ROW(unsigned char, CellErrorNumber)
  COM_ROW(unsigned char, CellOverloadStatus)
};

/// The variables that are exchanged with the program of a terminal.
class ComKesBasicData final : public ComDataSet<TarnKesBasicData, ::TarnKesBasicData,
                                                ::__TarnKesBasicData, ::_TarnKesBasicData> {
 public:
  ComKesBasicData(ComModule& module, std::shared_ptr<tarn::_SummitData> data)
      : ComDataSet(module, std::move(data)) {
    Pass(Core().KBEvent, 4);
  }

  COM_GET(VARIANT, KBStatus)
  STDMETHODIMP KBCommand(VARIANT Command, ::SDAccessStatus* result) override {
    return Get(result, [&] { return Core().KBCommand(ToWrittenValue(Module(), Command)); });
  }
  STDMETHODIMP SDRead(BSTR EasyIndex, VARIANT* Value, ::SDAccessStatus* result) override {
    return Get(result, [&] {
      TagValue value;
      const SDAccessStatus status = Core().SDRead(Text(EasyIndex), value);
      if (status == SDAccessStatus::RW_SUCCESS) {
        VariantClear(Value);
        *Value = ToVariant(value).Detach();
      }
      return status;
    });
  }
  STDMETHODIMP SDWrite(BSTR EasyIndex, VARIANT Value, ::SDAccessStatus* result) override {
    return Get(result,
               [&] { return Core().SDWrite(Text(EasyIndex), ToWrittenValue(Module(), Value)); });
  }
  COM_ROW(VARIANT_BOOL, BitValue)
  COM_ROW(unsigned char, ByteValue)
  COM_ROW(SHORT, IntValue)
  COM_ROW(LONG, LongValue)
  COM_ROW(float, FloatValue)
  COM_ROW(double, DoubleValue)
  COM_ROW(BSTR, StringValue)
};

}  // namespace tarn
