// The data objects that file the values of terminal variables, as COM objects.
#pragma once

#include <TarnSclServer.h>

#include <memory>
#include <utility>

#include "automation/com_arrays.hpp"
#include "automation/com_object.hpp"
#include "shareddata/sd_tag_info.hpp"
#include "shareddata/terminal_data.hpp"

namespace tarn {

/// The contract's members over any data object; `Own` is the face beside it, `Events` its events.
template <class Coclass, class Events, class... Own>
class ComSummitDataOf : public ComObject<Coclass, Events, _SummitData, Own..., ::_SummitData> {
 public:
  using ComObject<Coclass, Events, _SummitData, Own..., ::_SummitData>::ComObject;

  STDMETHODIMP put_CommLossError(VARIANT_BOOL value) override {
    return Guarded([&] { this->Core()->CommLossError(IsTrue(value)); });
  }
  STDMETHODIMP get_CommLossError(VARIANT_BOOL* result) override {
    return this->Get(result, [this] { return this->Core()->CommLossError(); });
  }
  STDMETHODIMP put_NoDataError(VARIANT_BOOL value) override {
    return Guarded([&] { this->Core()->NoDataError(IsTrue(value)); });
  }
  STDMETHODIMP get_NoDataError(VARIANT_BOOL* result) override {
    return this->Get(result, [this] { return this->Core()->NoDataError(); });
  }
  STDMETHODIMP ConfigurationChanged() override {
    return Guarded([this] { this->Core()->ConfigurationChanged(); });
  }
  STDMETHODIMP DataUpdated() override {
    return Guarded([this] { this->Core()->DataUpdated(); });
  }
  STDMETHODIMP SetBitData(VARIANT_BOOL TagData, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { this->Core()->SetBitData(IsTrue(TagData), Tag(myTagInfo)); });
  }
  STDMETHODIMP SetByteData(unsigned char TagData, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { this->Core()->SetByteData(TagData, Tag(myTagInfo)); });
  }
  STDMETHODIMP SetCharArrayData(SAFEARRAY** TagData, SHORT dataLen,
                                ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] {
      auto bytes = BytesOf(*TagData);
      this->Core()->SetCharArrayData(bytes, dataLen, Tag(myTagInfo));
    });
  }
  STDMETHODIMP SetLongData(LONG TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { this->Core()->SetLongData(TagData, dataIndex, Tag(myTagInfo)); });
  }
  STDMETHODIMP SetFloatData(float TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { this->Core()->SetFloatData(TagData, dataIndex, Tag(myTagInfo)); });
  }
  STDMETHODIMP SetDoubleData(double TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { this->Core()->SetDoubleData(TagData, dataIndex, Tag(myTagInfo)); });
  }
  STDMETHODIMP SetStringData(BSTR TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { this->Core()->SetStringData(Text(TagData), dataIndex, Tag(myTagInfo)); });
  }
  STDMETHODIMP SetIntData(SHORT TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { this->Core()->SetIntData(TagData, dataIndex, Tag(myTagInfo)); });
  }
  STDMETHODIMP ResetState() override {
    return Guarded([this] { this->Core()->ResetState(); });
  }
  STDMETHODIMP TriggersComplete(VARIANT_BOOL* result) override {
    return this->Get(result, [this] { return this->Core()->TriggersComplete(); });
  }

 private:
  std::shared_ptr<SDTagInfo> Tag(::_SDTagInfo* tag) const {
    return CoreOf<SDTagInfo>(this->Module(), tag);
  }
};

/// A data set: its events, and the contract's members that its own face repeats.
template <class Kind, class Coclass, class Events, class Own>
class ComDataSet : public ComSummitDataOf<Coclass, Events, Own> {
 public:
  /// The ids of the events CommLossError, ConfigChanged and NewDataReady begin with `first`.
  ComDataSet(ComModule& module, std::shared_ptr<tarn::_SummitData> core, DISPID first)
      : ComSummitDataOf<Coclass, Events, Own>(module, std::move(core)) {
    onCommLossError_ = Data().CommLossErrorEvent.Subscribe(this->Pass(first));
    onConfigChanged_ = Data().ConfigChanged.Subscribe(this->Pass(first + 1));
    onNewDataReady_ = Data().NewDataReady.Subscribe(this->Pass(first + 2));
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

 protected:
  Kind& Data() const { return static_cast<Kind&>(*this->Core()); }

 private:
  Subscription onCommLossError_;
  Subscription onConfigChanged_;
  Subscription onNewDataReady_;
};

/// The base class itself, and what stands for a class that the library does not know.
using ComSummitData = ComSummitDataOf<::SummitData, void>;

// The data sets, each in its own file.
ComPtr<IUnknown> WrapScaleDiagData(ComModule& module, const std::shared_ptr<_SummitData>& data);
ComPtr<IUnknown> WrapPredictFailureData(ComModule& module,
                                        const std::shared_ptr<_SummitData>& data);
ComPtr<IUnknown> WrapOrbixDiagData(ComModule& module, const std::shared_ptr<_SummitData>& data);
ComPtr<IUnknown> WrapKesBasicData(ComModule& module, const std::shared_ptr<_SummitData>& data);

}  // namespace tarn
