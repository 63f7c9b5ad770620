// The protocols: the contract's face, and the faces of their own.
#include <TarnSclServer.h>

#include <memory>
#include <string_view>

#include "automation/client_contracts.hpp"
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
namespace {

/// The contract's members over any protocol; `Own` is the face beside it.
template <class Coclass, class... Own>
class ComProtocolOf : public ComObject<Coclass, void, _Protocol, Own..., ::_Protocol> {
 public:
  using ComObject<Coclass, void, _Protocol, Own..., ::_Protocol>::ComObject;

  STDMETHODIMP get_myScale(::_TarnScale** result) override {
    return this->Get(result, [this] { return this->Core()->myScale(); });
  }
  STDMETHODIMP putref_myScale(::_TarnScale* value) override {
    return Guarded([&] { this->Core()->myScale(CoreOf<TarnScale>(this->Module(), value)); });
  }
  STDMETHODIMP get_WeightData(::_WeightData** result) override {
    return this->Get(result, [this] { return this->Core()->WeightData(); });
  }
  STDMETHODIMP putref_WeightData(::_WeightData* value) override {
    return Guarded([&] { this->Core()->WeightData(CoreOf<WeightData>(this->Module(), value)); });
  }
  STDMETHODIMP get_PrintData(::_PrintData** result) override {
    return this->Get(result, [this] { return this->Core()->PrintData(); });
  }
  STDMETHODIMP putref_PrintData(::_PrintData* value) override {
    return Guarded([&] { this->Core()->PrintData(CoreOf<PrintData>(this->Module(), value)); });
  }
  STDMETHODIMP get_TarnRecordTemplateData(::_TarnRecordTemplateData** result) override {
    return this->Get(result, [this] { return this->Core()->TarnRecordTemplateData(); });
  }
  STDMETHODIMP putref_TarnRecordTemplateData(::_TarnRecordTemplateData* value) override {
    return Guarded([&] {
      this->Core()->TarnRecordTemplateData(CoreOf<TarnRecordTemplateData>(this->Module(), value));
    });
  }
  STDMETHODIMP get_Connection(::_Connection** result) override {
    return this->Get(result, [this] { return this->Core()->Connection(); });
  }
  STDMETHODIMP putref_Connection(::_Connection* value) override {
    return Guarded([&] { this->Core()->Connection(ConnectionOf(this->Module(), value)); });
  }
  STDMETHODIMP get_pType(::ProtocolType* result) override {
    return this->Get(result, [this] { return this->Core()->pType(); });
  }
  STDMETHODIMP put_pType(::ProtocolType value) override {
    return Guarded([&] { this->Core()->pType(ProtocolType{value}); });
  }
  STDMETHODIMP Disconnect() override {
    return Guarded([this] { this->Core()->Disconnect(); });
  }
  STDMETHODIMP Connect() override {
    return Guarded([this] { this->Core()->Connect(); });
  }
  STDMETHODIMP TypeToClass(::ProtocolType pType, ::ProtocolClass* result) override {
    return this->Get(result, [&] { return this->Core()->TypeToClass(ProtocolType{pType}); });
  }
  STDMETHODIMP Z() override {
    return Guarded([this] { this->Core()->Z(); });
  }
  STDMETHODIMP P() override {
    return Guarded([this] { this->Core()->P(); });
  }
  STDMETHODIMP T() override {
    return Guarded([this] { this->Core()->T(); });
  }
  STDMETHODIMP SetTare(double* TareValue) override {
    return Guarded([&] { this->Core()->SetTare(*TareValue); });
  }
  STDMETHODIMP C() override {
    return Guarded([this] { this->Core()->C(); });
  }
};

/// A face of its own that repeats two members of the contract under the contract's name.
template <class Coclass, class Own>
class ComProtocolRepeating : public ComProtocolOf<Coclass, Own> {
 public:
  using ComProtocolOf<Coclass, Own>::ComProtocolOf;

  STDMETHODIMP Protocol_Disconnect() override {
    return Guarded([this] { this->Core()->Disconnect(); });
  }
  STDMETHODIMP Protocol_Connect() override {
    return Guarded([this] { this->Core()->Connect(); });
  }
};

/// A protocol that cuts records by a template.
template <class Coclass, class Own, class Kind>
class ComTemplateProtocol : public ComProtocolRepeating<Coclass, Own> {
 public:
  using ComProtocolRepeating<Coclass, Own>::ComProtocolRepeating;

  STDMETHODIMP putref_TemplateConfig(::_TarnRecordTemplateConfig* value) override {
    return Guarded([&] {
      Template().TemplateConfig(CoreOf<TarnRecordTemplateConfig>(this->Module(), value));
    });
  }
  STDMETHODIMP get_TemplateConfig(::_TarnRecordTemplateConfig** result) override {
    return this->Get(result, [this] { return Template().TemplateConfig(); });
  }

 protected:
  Kind& Template() const { return static_cast<Kind&>(*this->Core()); }
};

class ComKesDemandTemplateProtocol final
    : public ComTemplateProtocol<::KesDemandTemplateProtocol, ::_KesDemandTemplateProtocol,
                                 KesDemandTemplateProtocol> {
 public:
  using ComTemplateProtocol::ComTemplateProtocol;

  STDMETHODIMP put_scaleNum(BSTR value) override {
    return Guarded([&] { Template().scaleNum(Text(value)); });
  }
  STDMETHODIMP get_scaleNum(BSTR* result) override {
    return Get(result, [this] { return Template().scaleNum(); });
  }
};

class ComKesSDProtocol final : public ComProtocolOf<::KesSDProtocol, ::_KesSDProtocol> {
 public:
  using ComProtocolOf::ComProtocolOf;

  STDMETHODIMP put_scaleNum(BSTR value) override {
    return Guarded([&] { SharedData().scaleNum(Text(value)); });
  }
  STDMETHODIMP get_scaleNum(BSTR* result) override {
    return Get(result, [this] { return SharedData().scaleNum(); });
  }

 private:
  KesSDProtocol& SharedData() const { return static_cast<KesSDProtocol&>(*Core()); }
};

class ComSummitProtocol final : public ComProtocolRepeating<::SummitProtocol, ::_SummitProtocol> {
 public:
  using ComProtocolRepeating::ComProtocolRepeating;

  STDMETHODIMP putref_Configuration(::_SummitConfig* value) override {
    return Guarded([&] { Summit().Configuration(SummitConfigOf(Module(), value)); });
  }
  STDMETHODIMP get_Configuration(::_SummitConfig** result) override {
    return Get(result, [this] { return Summit().Configuration(); });
  }
  STDMETHODIMP ConvertReadData(::_SDTagInfo* readTag, ::_KesMessage* readMsg) override {
    return Guarded([&] {
      const auto tag = CoreOf<SDTagInfo>(Module(), readTag);
      const auto message = CoreOf<KesMessage>(Module(), readMsg);
      tarn::ConvertReadData(Required(tag), Required(message));
    });
  }

 private:
  SummitProtocol& Summit() const { return static_cast<SummitProtocol&>(*Core()); }
};

using ComProtocol = ComProtocolOf<::Protocol>;
using ComNoProtocol = ComProtocolRepeating<::NoProtocol, ::_NoProtocol>;
using ComContinuousProtocol =
    ComProtocolRepeating<::TarnContinuousProtocol, ::_TarnContinuousProtocol>;
using ComMiraProtocol = ComProtocolRepeating<::MiraProtocol, ::_MiraProtocol>;
using ComGenericProtocol = ComProtocolRepeating<::GenericProtocol, ::_GenericProtocol>;
using ComDemandTemplateProtocol =
    ComTemplateProtocol<::DemandTemplateProtocol, ::_DemandTemplateProtocol,
                        DemandTemplateProtocol>;

struct Class {
  std::string_view name;
  ComPtr<IUnknown> (*wrap)(ComModule& module, const std::shared_ptr<_Protocol>& protocol);
};
constexpr Class kClasses[] = {
    {"Protocol", WrapAs<ComProtocol>},
    {NoProtocol::kClassName, WrapAs<ComNoProtocol>},
    {TarnContinuousProtocol::kClassName, WrapAs<ComContinuousProtocol>},
    {MiraProtocol::kClassName, WrapAs<ComMiraProtocol>},
    {GenericProtocol::kClassName, WrapAs<ComGenericProtocol>},
    {DemandTemplateProtocol::kClassName, WrapAs<ComDemandTemplateProtocol>},
    {KesDemandTemplateProtocol::kClassName, WrapAs<ComKesDemandTemplateProtocol>},
    {KesSDProtocol::kClassName, WrapAs<ComKesSDProtocol>},
    {SummitProtocol::kClassName, WrapAs<ComSummitProtocol>},
};

}  // namespace

/// A class without a face of its own shows the contract's.
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<_Protocol>& protocol) {
  if (!protocol) return {};
  if (const auto* made = AsClientMade(protocol)) return made->Object().Own();
  for (const Class& known : kClasses) {
    if (known.name == protocol->ClassName()) return known.wrap(module, protocol);
  }
  return WrapAs<ComProtocol>(module, protocol);
}

}  // namespace tarn
