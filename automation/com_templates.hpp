// The layout of the records of a terminal.
#pragma once

#include <TarnSclServer.h>

#include <memory>
#include <utility>

#include "automation/com_object.hpp"
#include "protocols/tarn_record_template_config.hpp"

namespace tarn {
class ComTemplateConfig final
    : public ComObject<::TarnRecordTemplateConfig, ::__TarnRecordTemplateConfig,
                       TarnRecordTemplateConfig, ::_TarnRecordTemplateConfig> {
 public:
  ComTemplateConfig(ComModule& module, std::shared_ptr<TarnRecordTemplateConfig> config)
      : ComObject(module, std::move(config)) {
    Pass(Core().ConfigChanged, 1);
  }

  COM_ANSWER(SHORT, MaxNumFields)
  COM_ANSWER(SHORT, MaxFieldNameLen)
  COM_PROPERTY(SHORT, NumFields)
  COM_PROPERTY(BSTR, Delimiter)
  COM_PROPERTY(BSTR, StartString)
  COM_PROPERTY(BSTR, Terminator)
  COM_PROPERTY(LONG, Timeout)
  COM_GET(SAFEARRAY*, FieldNameArray)
  STDMETHODIMP put_FieldName(SHORT nIndex, BSTR value) override {
    return Guarded([&] { Core().FieldName(nIndex, Text(value)); });
  }
  COM_ELEMENT(BSTR, FieldName)
  COM_PROPERTY(BSTR, DemandOutput)
};

}  // namespace tarn
