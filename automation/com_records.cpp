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
    onNewWeight_ = Core()->NewWeight.Subscribe(Pass(1));
    onStatusChange_ = Core()->StatusChange.Subscribe(Pass(2));
  }

  STDMETHODIMP get_NoDataError(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->NoDataError(); });
  }
  STDMETHODIMP get_TareWeightValue(double* result) override {
    return Get(result, [this] { return Core()->TareWeightValue(); });
  }
  STDMETHODIMP get_NetWeightValue(double* result) override {
    return Get(result, [this] { return Core()->NetWeightValue(); });
  }
  STDMETHODIMP get_GrossWeightValue(double* result) override {
    return Get(result, [this] { return Core()->GrossWeightValue(); });
  }
  STDMETHODIMP get_InNetMode(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->InNetMode(); });
  }
  STDMETHODIMP get_AtZero(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->AtZero(); });
  }
  STDMETHODIMP get_OutOfRange(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->OutOfRange(); });
  }
  STDMETHODIMP get_Units(BSTR* result) override {
    return Get(result, [this] { return Core()->Units(); });
  }
  STDMETHODIMP get_Motion(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->Motion(); });
  }
  STDMETHODIMP get_NetWeight(BSTR* result) override {
    return Get(result, [this] { return Core()->NetWeight(); });
  }
  STDMETHODIMP get_TareWeight(BSTR* result) override {
    return Get(result, [this] { return Core()->TareWeight(); });
  }
  STDMETHODIMP get_GrossWeight(BSTR* result) override {
    return Get(result, [this] { return Core()->GrossWeight(); });
  }

 private:
  Subscription onNewWeight_;
  Subscription onStatusChange_;
};

class ComPrintData final : public ComObject<::PrintData, ::__PrintData, PrintData, ::_PrintData> {
 public:
  ComPrintData(ComModule& module, std::shared_ptr<PrintData> record)
      : ComObject(module, std::move(record)) {
    onNewWeight_ = Core()->NewWeight.Subscribe(Pass(1));
  }

  STDMETHODIMP get_TareWeightValue(double* result) override {
    return Get(result, [this] { return Core()->TareWeightValue(); });
  }
  STDMETHODIMP get_NetWeightValue(double* result) override {
    return Get(result, [this] { return Core()->NetWeightValue(); });
  }
  STDMETHODIMP get_GrossWeightValue(double* result) override {
    return Get(result, [this] { return Core()->GrossWeightValue(); });
  }
  STDMETHODIMP get_Units(BSTR* result) override {
    return Get(result, [this] { return Core()->Units(); });
  }
  STDMETHODIMP get_NetWeight(BSTR* result) override {
    return Get(result, [this] { return Core()->NetWeight(); });
  }
  STDMETHODIMP get_TareWeight(BSTR* result) override {
    return Get(result, [this] { return Core()->TareWeight(); });
  }
  STDMETHODIMP get_GrossWeight(BSTR* result) override {
    return Get(result, [this] { return Core()->GrossWeight(); });
  }

 private:
  Subscription onNewWeight_;
};

class ComTemplateData final : public ComObject<::TarnRecordTemplateData, ::__TarnRecordTemplateData,
                                               TarnRecordTemplateData, ::_TarnRecordTemplateData> {
 public:
  ComTemplateData(ComModule& module, std::shared_ptr<TarnRecordTemplateData> record)
      : ComObject(module, std::move(record)) {
    onConfigChanged_ = Core()->ConfigChanged.Subscribe(Pass(1));
    onNewDataReady_ = Core()->NewDataReady.Subscribe(Pass(2));
    onTimeoutError_ = Core()->TimeoutError.Subscribe(Pass(3));
  }

  STDMETHODIMP ClearRecord() override {
    return Guarded([this] { Core()->ClearRecord(); });
  }
  STDMETHODIMP MaxNumFields(SHORT* result) override {
    return Get(result, [this] { return Core()->MaxNumFields(); });
  }
  STDMETHODIMP get_FieldDataArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Core()->FieldDataArray(); });
  }
  STDMETHODIMP get_FieldData(SHORT nIndex, BSTR* result) override {
    return Get(result, [&] { return Core()->FieldData(nIndex); });
  }
  STDMETHODIMP get_FieldNameArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Core()->FieldNameArray(); });
  }
  STDMETHODIMP get_FieldName(SHORT nIndex, BSTR* result) override {
    return Get(result, [&] { return Core()->FieldName(nIndex); });
  }
  STDMETHODIMP get_NumFields(SHORT* result) override {
    return Get(result, [this] { return Core()->NumFields(); });
  }
  STDMETHODIMP get_NoDataError(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->NoDataError(); });
  }

 private:
  Subscription onConfigChanged_;
  Subscription onNewDataReady_;
  Subscription onTimeoutError_;
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
