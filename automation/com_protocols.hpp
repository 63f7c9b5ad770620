// The protocols as COM objects: the face of the contract, and the faces of each class.
#pragma once

#include <TarnSclServer.h>

#include "automation/com_object.hpp"
#include "protocols/demand_template_protocol.hpp"
#include "protocols/generic_protocol.hpp"
#include "protocols/kes_demand_template_protocol.hpp"
#include "protocols/mira_protocol.hpp"
#include "protocols/no_protocol.hpp"
#include "protocols/tarn_continuous_protocol.hpp"
#include "shareddata/kes_sd_protocol.hpp"
#include "shareddata/summit_protocol.hpp"
#include "shareddata/tag_messages.hpp"

namespace tarn {

/// The members of the contract; `Own` is the face beside it.
template <class Coclass, class... Own>
class ComProtocolOf : public ComObject<Coclass, void, _Protocol, Own..., ::_Protocol> {
 public:
  static constexpr std::string_view kName = "Protocol";
  using ComObject<Coclass, void, _Protocol, Own..., ::_Protocol>::ComObject;

  COM_OBJECT(::_TarnScale, myScale)
  COM_OBJECT(::_WeightData, WeightData)
  COM_OBJECT(::_PrintData, PrintData)
  COM_OBJECT(::_TarnRecordTemplateData, TarnRecordTemplateData)
  COM_OBJECT(::_Connection, Connection)
  COM_PROPERTY(::ProtocolType, pType)
  COM_CALL(Disconnect)
  COM_CALL(Connect)
  STDMETHODIMP TypeToClass(::ProtocolType pType, ::ProtocolClass* result) override {
    return this->Get(result, [&] { return this->Core().TypeToClass(ProtocolType{pType}); });
  }
  COM_CALL(Z)
  COM_CALL(P)
  COM_CALL(T)
  STDMETHODIMP SetTare(double* TareValue) override {
    return Guarded([&] { this->Core().SetTare(*TareValue); });
  }
  COM_CALL(C)
};

/// A face that repeats two members of the contract under the contract's name.
template <class Coclass, class Own>
class ComProtocolRepeating : public ComProtocolOf<Coclass, Own> {
 public:
  using ComProtocolOf<Coclass, Own>::ComProtocolOf;

  STDMETHODIMP Protocol_Disconnect() override { return this->Disconnect(); }
  STDMETHODIMP Protocol_Connect() override { return this->Connect(); }
};

/// A protocol that cuts records by a template; `Base` is its other faces.
template <class Base>
class ComTemplateProtocol : public Base {
 public:
  using Base::Base;

  COM_OBJECT(::_TarnRecordTemplateConfig, TemplateConfig)
};

using ComProtocol = ComProtocolOf<::Protocol>;
using ComNoProtocol = ComClass<NoProtocol, ComProtocolRepeating<::NoProtocol, ::_NoProtocol>>;
using ComContinuousProtocol =
    ComClass<TarnContinuousProtocol,
             ComProtocolRepeating<::TarnContinuousProtocol, ::_TarnContinuousProtocol>>;
using ComMiraProtocol =
    ComClass<MiraProtocol, ComProtocolRepeating<::MiraProtocol, ::_MiraProtocol>>;
using ComGenericProtocol =
    ComClass<GenericProtocol, ComProtocolRepeating<::GenericProtocol, ::_GenericProtocol>>;
using ComDemandTemplateProtocol = ComTemplateProtocol<
    ComClass<DemandTemplateProtocol,
             ComProtocolRepeating<::DemandTemplateProtocol, ::_DemandTemplateProtocol>>>;

class ComKesDemandTemplateProtocol final
    : public ComTemplateProtocol<
          ComClass<KesDemandTemplateProtocol, ComProtocolRepeating<::KesDemandTemplateProtocol,
                                                                   ::_KesDemandTemplateProtocol>>> {
 public:
  using ComTemplateProtocol::ComTemplateProtocol;

  COM_PROPERTY(BSTR, scaleNum)
};

class ComKesSDProtocol final
    : public ComClass<KesSDProtocol, ComProtocolOf<::KesSDProtocol, ::_KesSDProtocol>> {
 public:
  using ComClass::ComClass;

  COM_PROPERTY(BSTR, scaleNum)
};

class ComSummitProtocol final
    : public ComClass<SummitProtocol, ComProtocolRepeating<::SummitProtocol, ::_SummitProtocol>> {
 public:
  using ComClass::ComClass;

  COM_OBJECT(::_SummitConfig, Configuration)
  STDMETHODIMP ConvertReadData(::_SDTagInfo* readTag, ::_KesMessage* readMsg) override {
    return Guarded([&] {
      const auto tag = CoreOf<SDTagInfo>(Module(), readTag);
      const auto message = CoreOf<KesMessage>(Module(), readMsg);
      tarn::ConvertReadData(Required(tag), Required(message), Core().Rules());
    });
  }
};

}  // namespace tarn
