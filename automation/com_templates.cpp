// The layout of the records of a terminal.
#include <TarnSclServer.h>

#include <memory>
#include <utility>

#include "automation/com_object.hpp"
#include "protocols/tarn_record_template_config.hpp"

namespace tarn {
namespace {

class ComTemplateConfig final
    : public ComObject<::TarnRecordTemplateConfig, ::__TarnRecordTemplateConfig,
                       TarnRecordTemplateConfig, ::_TarnRecordTemplateConfig> {
 public:
  ComTemplateConfig(ComModule& module, std::shared_ptr<TarnRecordTemplateConfig> config)
      : ComObject(module, std::move(config)) {
    onConfigChanged_ = Core()->ConfigChanged.Subscribe(Pass(1));
  }

  STDMETHODIMP MaxNumFields(SHORT* result) override {
    return Get(result, [this] { return Core()->MaxNumFields(); });
  }
  STDMETHODIMP MaxFieldNameLen(SHORT* result) override {
    return Get(result, [this] { return Core()->MaxFieldNameLen(); });
  }
  STDMETHODIMP put_NumFields(SHORT value) override {
    return Guarded([&] { Core()->NumFields(value); });
  }
  STDMETHODIMP get_NumFields(SHORT* result) override {
    return Get(result, [this] { return Core()->NumFields(); });
  }
  STDMETHODIMP put_Delimiter(BSTR value) override {
    return Guarded([&] { Core()->Delimiter(Text(value)); });
  }
  STDMETHODIMP get_Delimiter(BSTR* result) override {
    return Get(result, [this] { return Core()->Delimiter(); });
  }
  STDMETHODIMP put_StartString(BSTR value) override {
    return Guarded([&] { Core()->StartString(Text(value)); });
  }
  STDMETHODIMP get_StartString(BSTR* result) override {
    return Get(result, [this] { return Core()->StartString(); });
  }
  STDMETHODIMP put_Terminator(BSTR value) override {
    return Guarded([&] { Core()->Terminator(Text(value)); });
  }
  STDMETHODIMP get_Terminator(BSTR* result) override {
    return Get(result, [this] { return Core()->Terminator(); });
  }
  STDMETHODIMP put_Timeout(LONG value) override {
    return Guarded([&] { Core()->Timeout(value); });
  }
  STDMETHODIMP get_Timeout(LONG* result) override {
    return Get(result, [this] { return Core()->Timeout(); });
  }
  STDMETHODIMP get_FieldNameArray(SAFEARRAY** result) override {
    return Get(result, [this] { return Core()->FieldNameArray(); });
  }
  STDMETHODIMP put_FieldName(SHORT nIndex, BSTR value) override {
    return Guarded([&] { Core()->FieldName(nIndex, Text(value)); });
  }
  STDMETHODIMP get_FieldName(SHORT nIndex, BSTR* result) override {
    return Get(result, [&] { return Core()->FieldName(nIndex); });
  }
  STDMETHODIMP put_DemandOutput(BSTR value) override {
    return Guarded([&] { Core()->DemandOutput(Text(value)); });
  }
  STDMETHODIMP get_DemandOutput(BSTR* result) override {
    return Get(result, [this] { return Core()->DemandOutput(); });
  }

 private:
  Subscription onConfigChanged_;
};

}  // namespace

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<TarnRecordTemplateConfig>& config) {
  return WrapAs<ComTemplateConfig>(module, config);
}

}  // namespace tarn
