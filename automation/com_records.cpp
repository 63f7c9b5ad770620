// The records of a scale: live weight, last print, fields of the latest demand record.
#include <TarnSclServer.h>

#include <memory>
#include <utility>

#include "automation/com_object.hpp"

namespace tarn {
namespace {

class ComWeightData final
    : public ComObject<::WeightData, ::__WeightData, WeightData, ::_WeightData> {
 public:
  ComWeightData(ComModule& module, std::shared_ptr<WeightData> record)
      : ComObject(module, std::move(record)) {
    Pass(Core().NewWeight, 1);
    Pass(Core().StatusChange, 2);
  }

  COM_GET(VARIANT_BOOL, NoDataError)
  COM_GET(double, TareWeightValue)
  COM_GET(double, NetWeightValue)
  COM_GET(double, GrossWeightValue)
  COM_GET(VARIANT_BOOL, InNetMode)
  COM_GET(VARIANT_BOOL, AtZero)
  COM_GET(VARIANT_BOOL, OutOfRange)
  COM_GET(BSTR, Units)
  COM_GET(VARIANT_BOOL, Motion)
  COM_GET(BSTR, NetWeight)
  COM_GET(BSTR, TareWeight)
  COM_GET(BSTR, GrossWeight)
};

static_assert(static_cast<int>(::OriginDetection) == static_cast<int>(PrintOrigin::Detection));

class ComPrintData final : public ComObject<::PrintData, ::__PrintData, PrintData, ::_PrintData,
                                            ::_PrintDataWithOrigin> {
 public:
  ComPrintData(ComModule& module, std::shared_ptr<PrintData> record)
      : ComObject(module, std::move(record)) {
    Pass(Core().NewWeight, 1);
  }

  COM_GET(double, TareWeightValue)
  COM_GET(double, NetWeightValue)
  COM_GET(double, GrossWeightValue)
  COM_GET(BSTR, Units)
  COM_GET(BSTR, NetWeight)
  COM_GET(BSTR, TareWeight)
  COM_GET(BSTR, GrossWeight)
  STDMETHODIMP get_Origin(::PrintOrigin* result) override {
    return Get(result, [this] { return Core().Origin(); });
  }
};

class ComTemplateData final : public ComObject<::TarnRecordTemplateData, ::__TarnRecordTemplateData,
                                               TarnRecordTemplateData, ::_TarnRecordTemplateData> {
 public:
  ComTemplateData(ComModule& module, std::shared_ptr<TarnRecordTemplateData> record)
      : ComObject(module, std::move(record)) {
    Pass(Core().ConfigChanged, 1);
    Pass(Core().NewDataReady, 2);
    Pass(Core().TimeoutError, 3);
  }

  COM_CALL(ClearRecord)
  COM_ANSWER(SHORT, MaxNumFields)
  COM_GET(SAFEARRAY*, FieldDataArray)
  COM_ELEMENT(BSTR, FieldData)
  COM_GET(SAFEARRAY*, FieldNameArray)
  COM_ELEMENT(BSTR, FieldName)
  COM_GET(SHORT, NumFields)
  COM_GET(VARIANT_BOOL, NoDataError)
};

}  // namespace

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<WeightData>& record) {
  return WrapAs<ComWeightData>(module, record);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<PrintData>& record) {
  return WrapAs<ComPrintData>(module, record);
}

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<TarnRecordTemplateData>& record) {
  return WrapAs<ComTemplateData>(module, record);
}

/// The data objects that a scale hands out by name.
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<DataObject>& object) {
  if (const auto weight = std::dynamic_pointer_cast<WeightData>(object))
    return Wrap(module, weight);
  if (const auto print = std::dynamic_pointer_cast<PrintData>(object)) return Wrap(module, print);
  if (const auto record = std::dynamic_pointer_cast<TarnRecordTemplateData>(object)) {
    return Wrap(module, record);
  }
  return Wrap(module, std::dynamic_pointer_cast<_SummitData>(object));
}

}  // namespace tarn
