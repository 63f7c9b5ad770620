// The data objects that file the values of terminal variables.
#include <TarnSclServer.h>

#include <memory>

#include "automation/client_contracts.hpp"
#include "automation/com_arrays.hpp"
#include "automation/com_object.hpp"

namespace tarn {
namespace {

class ComSummitData final : public ComObject<::SummitData, void, _SummitData, ::_SummitData> {
 public:
  using ComObject::ComObject;

  STDMETHODIMP put_CommLossError(VARIANT_BOOL value) override {
    return Guarded([&] { Core()->CommLossError(IsTrue(value)); });
  }
  STDMETHODIMP get_CommLossError(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->CommLossError(); });
  }
  STDMETHODIMP put_NoDataError(VARIANT_BOOL value) override {
    return Guarded([&] { Core()->NoDataError(IsTrue(value)); });
  }
  STDMETHODIMP get_NoDataError(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->NoDataError(); });
  }
  STDMETHODIMP ConfigurationChanged() override {
    return Guarded([this] { Core()->ConfigurationChanged(); });
  }
  STDMETHODIMP DataUpdated() override {
    return Guarded([this] { Core()->DataUpdated(); });
  }
  STDMETHODIMP SetBitData(VARIANT_BOOL TagData, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { Core()->SetBitData(IsTrue(TagData), CoreOf<SDTagInfo>(myTagInfo)); });
  }
  STDMETHODIMP SetByteData(unsigned char TagData, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { Core()->SetByteData(TagData, CoreOf<SDTagInfo>(myTagInfo)); });
  }
  STDMETHODIMP SetCharArrayData(SAFEARRAY** TagData, SHORT dataLen,
                                ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] {
      auto bytes = BytesOf(*TagData);
      Core()->SetCharArrayData(bytes, dataLen, CoreOf<SDTagInfo>(myTagInfo));
    });
  }
  STDMETHODIMP SetLongData(LONG TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { Core()->SetLongData(TagData, dataIndex, CoreOf<SDTagInfo>(myTagInfo)); });
  }
  STDMETHODIMP SetFloatData(float TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { Core()->SetFloatData(TagData, dataIndex, CoreOf<SDTagInfo>(myTagInfo)); });
  }
  STDMETHODIMP SetDoubleData(double TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded(
        [&] { Core()->SetDoubleData(TagData, dataIndex, CoreOf<SDTagInfo>(myTagInfo)); });
  }
  STDMETHODIMP SetStringData(BSTR TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded(
        [&] { Core()->SetStringData(Text(TagData), dataIndex, CoreOf<SDTagInfo>(myTagInfo)); });
  }
  STDMETHODIMP SetIntData(SHORT TagData, SHORT dataIndex, ::_SDTagInfo* myTagInfo) override {
    return Guarded([&] { Core()->SetIntData(TagData, dataIndex, CoreOf<SDTagInfo>(myTagInfo)); });
  }
  STDMETHODIMP ResetState() override {
    return Guarded([this] { Core()->ResetState(); });
  }
  STDMETHODIMP TriggersComplete(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Core()->TriggersComplete(); });
  }
};

}  // namespace

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<_SummitData>& data) {
  if (const auto* made = AsClientMade(data)) return made->Object().Own();
  return WrapAs<ComSummitData>(module, data);
}

}  // namespace tarn
