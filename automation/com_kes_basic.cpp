// The exchange of variables with the program of a terminal.
#include "shareddata/tarn_kes_basic_data.hpp"

#include <string>

#include "automation/com_summit_data.hpp"
#include "automation/tag_variants.hpp"

namespace tarn {
namespace {

class ComKesBasicData final : public ComDataSet<TarnKesBasicData, ::TarnKesBasicData,
                                                ::__TarnKesBasicData, ::_TarnKesBasicData> {
 public:
  ComKesBasicData(ComModule& module, std::shared_ptr<tarn::_SummitData> data)
      : ComDataSet(module, std::move(data), 1) {
    onKBEvent_ = Data().KBEvent.Subscribe(
        [this](const std::string& easyIndex) { Raise(4, {Variant(ToWide(easyIndex))}); });
  }

  STDMETHODIMP get_KBStatus(VARIANT* result) override {
    *result = Variant().Detach();
    return Guarded([&] { *result = ToVariant(Data().KBStatus()).Detach(); });
  }
  STDMETHODIMP KBCommand(VARIANT Command, ::SDAccessStatus* result) override {
    return Get(result, [&] { return Data().KBCommand(ToWrittenValue(Module(), Command)); });
  }
  STDMETHODIMP SDRead(BSTR EasyIndex, VARIANT* Value, ::SDAccessStatus* result) override {
    return Get(result, [&] {
      TagValue value;
      const SDAccessStatus status = Data().SDRead(Text(EasyIndex), value);
      if (status == SDAccessStatus::RW_SUCCESS) {
        VariantClear(Value);
        *Value = ToVariant(value).Detach();
      }
      return status;
    });
  }
  STDMETHODIMP SDWrite(BSTR EasyIndex, VARIANT Value, ::SDAccessStatus* result) override {
    return Get(result,
               [&] { return Data().SDWrite(Text(EasyIndex), ToWrittenValue(Module(), Value)); });
  }
  STDMETHODIMP get_BitValue(SHORT nIndex, VARIANT_BOOL* result) override {
    return Get(result, [&] { return Data().BitValue(nIndex); });
  }
  STDMETHODIMP get_BitValueArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().BitValueArray(); });
  }
  STDMETHODIMP get_ByteValue(SHORT nIndex, unsigned char* result) override {
    return Get(result, [&] { return Data().ByteValue(nIndex); });
  }
  STDMETHODIMP get_ByteValueArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().ByteValueArray(); });
  }
  STDMETHODIMP get_IntValue(SHORT nIndex, SHORT* result) override {
    return Get(result, [&] { return Data().IntValue(nIndex); });
  }
  STDMETHODIMP get_IntValueArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().IntValueArray(); });
  }
  STDMETHODIMP get_LongValue(SHORT nIndex, LONG* result) override {
    return Get(result, [&] { return Data().LongValue(nIndex); });
  }
  STDMETHODIMP get_LongValueArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().LongValueArray(); });
  }
  STDMETHODIMP get_FloatValue(SHORT nIndex, float* result) override {
    return Get(result, [&] { return Data().FloatValue(nIndex); });
  }
  STDMETHODIMP get_FloatValueArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().FloatValueArray(); });
  }
  STDMETHODIMP get_DoubleValue(SHORT nIndex, double* result) override {
    return Get(result, [&] { return Data().DoubleValue(nIndex); });
  }
  STDMETHODIMP get_DoubleValueArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().DoubleValueArray(); });
  }
  STDMETHODIMP get_StringValue(SHORT nIndex, BSTR* result) override {
    return Get(result, [&] { return Data().StringValue(nIndex); });
  }
  STDMETHODIMP get_StringValueArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Data().StringValueArray(); });
  }

 private:
  Subscription onKBEvent_;
};

}  // namespace

ComPtr<IUnknown> WrapKesBasicData(ComModule& module, const std::shared_ptr<_SummitData>& data) {
  return WrapAs<ComKesBasicData>(module, data);
}

}  // namespace tarn
