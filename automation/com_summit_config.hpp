// The configurations that list terminal variables, as COM objects.
#pragma once

#include <TarnSclServer.h>

#include "automation/com_object.hpp"
#include "shareddata/tarn_kes_basic_config.hpp"
#include "shareddata/tarn_orbix_diag_config.hpp"
#include "shareddata/tarn_predict_failure_config.hpp"
#include "shareddata/tarn_scale_diag_config.hpp"

namespace tarn {

/// The members of the contract; `Own` is the face beside it.
template <class Coclass, class... Own>
class ComSummitConfigOf : public ComObject<Coclass, void, _SummitConfig, Own..., ::_SummitConfig> {
 public:
  static constexpr std::string_view kName = "SummitConfig";
  using ComObject<Coclass, void, _SummitConfig, Own..., ::_SummitConfig>::ComObject;

  STDMETHODIMP GetTagInfoByKey(BSTR TagName, ::_SDTagInfo** result) override {
    return this->Get(result, [&] { return this->Core().GetTagInfoByKey(Text(TagName)); });
  }
  STDMETHODIMP GetTagInfoByIndex(SHORT TagIndex, ::_SDTagInfo** result) override {
    return this->Get(result, [&] { return this->Core().GetTagInfoByIndex(TagIndex); });
  }
  COM_ANSWER(SHORT, GetTagInfoCount)
  STDMETHODIMP GetResetTrigger(SHORT TriggerIndex, BSTR* result) override {
    return this->Get(result, [&] { return this->Core().GetResetTrigger(TriggerIndex); });
  }
  STDMETHODIMP GetUpdateTrigger(SHORT TriggerIndex, BSTR* result) override {
    return this->Get(result, [&] { return this->Core().GetUpdateTrigger(TriggerIndex); });
  }
};

using ComSummitConfig = ComSummitConfigOf<::SummitConfig>;
using ComScaleDiagConfig =
    ComClass<TarnScaleDiagConfig, ComSummitConfigOf<::TarnScaleDiagConfig, ::_TarnScaleDiagConfig>>;
using ComPredictFailureConfig =
    ComClass<TarnPredictFailureConfig,
             ComSummitConfigOf<::TarnPredictFailureConfig, ::_TarnPredictFailureConfig>>;

class ComOrbixDiagConfig final
    : public ComClass<TarnOrbixDiagConfig,
                      ComSummitConfigOf<::TarnOrbixDiagConfig, ::_TarnOrbixDiagConfig>> {
 public:
  using ComClass::ComClass;

  COM_PROPERTY(BSTR, CountsVariable)
  COM_PROPERTY(::SDTagType, CountsType)
  COM_PROPERTY(BSTR, ErrorNumbersVariable)
  COM_PROPERTY(BSTR, OverloadStatusVariable)
  COM_PROPERTY(BSTR, ScanTableVariable)
};

class ComKesBasicConfig final
    : public ComClass<TarnKesBasicConfig,
                      ComSummitConfigOf<::TarnKesBasicConfig, ::_TarnKesBasicConfig>> {
 public:
  using ComClass::ComClass;

  COM_GET(::_SDVariables*, SDVariables)
  STDMETHODIMP AddVariable(BSTR EasyIndex, BSTR TagName, ::SDTagType TagType, SHORT TagDataLen,
                           VARIANT_BOOL Writable, VARIANT_BOOL Polled,
                           ::_SDTagInfo** result) override {
    return this->Get(result, [&] {
      return Core().AddVariable(Text(EasyIndex), Text(TagName), SDTagType{TagType}, TagDataLen,
                                IsTrue(Writable), IsTrue(Polled));
    });
  }
  STDMETHODIMP RemoveVariable(BSTR EasyIndex) override {
    return Guarded([&] { Core().RemoveVariable(Text(EasyIndex)); });
  }
};

}  // namespace tarn
