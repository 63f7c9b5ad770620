// The configurations that list terminal variables: the contract's face, and the faces of their own.
#include <TarnSclServer.h>

#include <memory>
#include <string_view>

#include "automation/client_contracts.hpp"
#include "automation/com_object.hpp"
#include "shareddata/tarn_kes_basic_config.hpp"
#include "shareddata/tarn_orbix_diag_config.hpp"
#include "shareddata/tarn_predict_failure_config.hpp"
#include "shareddata/tarn_scale_diag_config.hpp"

namespace tarn {
namespace {

/// The contract's members over any configuration; `Own` is the face beside it.
template <class Coclass, class... Own>
class ComSummitConfigOf : public ComObject<Coclass, void, _SummitConfig, Own..., ::_SummitConfig> {
 public:
  using ComObject<Coclass, void, _SummitConfig, Own..., ::_SummitConfig>::ComObject;

  STDMETHODIMP GetTagInfoByKey(BSTR TagName, ::_SDTagInfo** result) override {
    return this->Get(result, [&] { return this->Core()->GetTagInfoByKey(Text(TagName)); });
  }
  STDMETHODIMP GetTagInfoByIndex(SHORT TagIndex, ::_SDTagInfo** result) override {
    return this->Get(result, [&] { return this->Core()->GetTagInfoByIndex(TagIndex); });
  }
  STDMETHODIMP GetTagInfoCount(SHORT* result) override {
    return this->Get(result, [this] { return this->Core()->GetTagInfoCount(); });
  }
  STDMETHODIMP GetResetTrigger(SHORT TriggerIndex, BSTR* result) override {
    return this->Get(result, [&] { return this->Core()->GetResetTrigger(TriggerIndex); });
  }
  STDMETHODIMP GetUpdateTrigger(SHORT TriggerIndex, BSTR* result) override {
    return this->Get(result, [&] { return this->Core()->GetUpdateTrigger(TriggerIndex); });
  }
};

using ComSummitConfig = ComSummitConfigOf<::SummitConfig>;
using ComScaleDiagConfig = ComSummitConfigOf<::TarnScaleDiagConfig, ::_TarnScaleDiagConfig>;
using ComPredictFailureConfig =
    ComSummitConfigOf<::TarnPredictFailureConfig, ::_TarnPredictFailureConfig>;

class ComOrbixDiagConfig final
    : public ComSummitConfigOf<::TarnOrbixDiagConfig, ::_TarnOrbixDiagConfig> {
 public:
  using ComSummitConfigOf::ComSummitConfigOf;

  STDMETHODIMP put_CountsVariable(BSTR value) override {
    return Guarded([&] { Orbix().CountsVariable(Text(value)); });
  }
  STDMETHODIMP get_CountsVariable(BSTR* result) override {
    return Get(result, [this] { return Orbix().CountsVariable(); });
  }
  STDMETHODIMP put_CountsType(::SDTagType value) override {
    return Guarded([&] { Orbix().CountsType(SDTagType{value}); });
  }
  STDMETHODIMP get_CountsType(::SDTagType* result) override {
    return Get(result, [this] { return Orbix().CountsType(); });
  }
  STDMETHODIMP put_ErrorNumbersVariable(BSTR value) override {
    return Guarded([&] { Orbix().ErrorNumbersVariable(Text(value)); });
  }
  STDMETHODIMP get_ErrorNumbersVariable(BSTR* result) override {
    return Get(result, [this] { return Orbix().ErrorNumbersVariable(); });
  }
  STDMETHODIMP put_OverloadStatusVariable(BSTR value) override {
    return Guarded([&] { Orbix().OverloadStatusVariable(Text(value)); });
  }
  STDMETHODIMP get_OverloadStatusVariable(BSTR* result) override {
    return Get(result, [this] { return Orbix().OverloadStatusVariable(); });
  }
  STDMETHODIMP put_ScanTableVariable(BSTR value) override {
    return Guarded([&] { Orbix().ScanTableVariable(Text(value)); });
  }
  STDMETHODIMP get_ScanTableVariable(BSTR* result) override {
    return Get(result, [this] { return Orbix().ScanTableVariable(); });
  }

 private:
  TarnOrbixDiagConfig& Orbix() const { return static_cast<TarnOrbixDiagConfig&>(*Core()); }
};

class ComKesBasicConfig final
    : public ComSummitConfigOf<::TarnKesBasicConfig, ::_TarnKesBasicConfig> {
 public:
  using ComSummitConfigOf::ComSummitConfigOf;

  STDMETHODIMP get_SDVariables(::_SDVariables** result) override {
    return Get(result, [this] { return Basic().SDVariables(); });
  }
  STDMETHODIMP AddVariable(BSTR EasyIndex, BSTR TagName, ::SDTagType TagType, SHORT TagDataLen,
                           VARIANT_BOOL Writable, VARIANT_BOOL Polled,
                           ::_SDTagInfo** result) override {
    return Get(result, [&] {
      return Basic().AddVariable(Text(EasyIndex), Text(TagName), SDTagType{TagType}, TagDataLen,
                                 IsTrue(Writable), IsTrue(Polled));
    });
  }
  STDMETHODIMP RemoveVariable(BSTR EasyIndex) override {
    return Guarded([&] { Basic().RemoveVariable(Text(EasyIndex)); });
  }

 private:
  TarnKesBasicConfig& Basic() const { return static_cast<TarnKesBasicConfig&>(*Core()); }
};

struct Class {
  std::string_view name;
  ComPtr<IUnknown> (*wrap)(ComModule& module, const std::shared_ptr<_SummitConfig>& config);
};
constexpr Class kClasses[] = {
    {TarnScaleDiagConfig::kClassName, WrapAs<ComScaleDiagConfig>},
    {TarnPredictFailureConfig::kClassName, WrapAs<ComPredictFailureConfig>},
    {TarnOrbixDiagConfig::kClassName, WrapAs<ComOrbixDiagConfig>},
    {TarnKesBasicConfig::kClassName, WrapAs<ComKesBasicConfig>},
};

}  // namespace

/// A class without a face of its own shows the contract's.
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<_SummitConfig>& config) {
  if (!config) return {};
  if (const auto* made = AsClientMade(config)) return made->Object().Own();
  for (const Class& known : kClasses) {
    if (known.name == config->ClassName()) return known.wrap(module, config);
  }
  return WrapAs<ComSummitConfig>(module, config);
}

}  // namespace tarn
