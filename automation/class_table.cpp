#include "automation/class_table.hpp"

#include <TarnSclServer.h>

#include "automation/core_objects.hpp"
#include "connections/arcnet_connection.hpp"
#include "connections/ethernet_connection.hpp"
#include "connections/no_connection.hpp"
#include "connections/serial_connection.hpp"
#include "protocols/demand_template_protocol.hpp"
#include "protocols/generic_protocol.hpp"
#include "protocols/kes_demand_template_protocol.hpp"
#include "protocols/mira_protocol.hpp"
#include "protocols/no_protocol.hpp"
#include "protocols/tarn_continuous_protocol.hpp"
#include "protocols/tarn_record_template_config.hpp"
#include "shareddata/kes_message.hpp"
#include "shareddata/kes_sd_protocol.hpp"
#include "shareddata/sd_tag_info.hpp"
#include "shareddata/summit_protocol.hpp"
#include "shareddata/tarn_kes_basic_config.hpp"
#include "shareddata/tarn_kes_basic_data.hpp"
#include "shareddata/tarn_orbix_diag_config.hpp"
#include "shareddata/tarn_orbix_diag_data.hpp"
#include "shareddata/tarn_predict_failure_config.hpp"
#include "shareddata/tarn_predict_failure_data.hpp"
#include "shareddata/tarn_scale_diag_config.hpp"
#include "shareddata/tarn_scale_diag_data.hpp"

namespace tarn {
namespace {

/// By the name under which settings files know the class too.
template <class Contract, class Class>
ComPtr<IUnknown> Create(ComModule& module) {
  return Wrap(module, NewObject<Contract>(*module.ClientSite(), Class::kClassName));
}

struct BaseConnection {
  static constexpr std::string_view kClassName = "Connection";
};
struct BaseProtocol {
  static constexpr std::string_view kClassName = "Protocol";
};
struct BaseSummitData {
  static constexpr std::string_view kClassName = "SummitData";
};

constexpr CreatableClass kClasses[] = {
    {&CLSID_TarnServerConnection, CreateServerConnection},
    {&CLSID_Connection, Create<_Connection, BaseConnection>},
    {&CLSID_ArcNetConnection, Create<_Connection, ArcNetConnection>},
    {&CLSID_EthernetConnection, Create<_Connection, EthernetConnection>},
    {&CLSID_NoConnection, Create<_Connection, NoConnection>},
    {&CLSID_SerialConnection, Create<_Connection, SerialConnection>},
    {&CLSID_Protocol, Create<_Protocol, BaseProtocol>},
    {&CLSID_NoProtocol, Create<_Protocol, NoProtocol>},
    {&CLSID_TarnContinuousProtocol, Create<_Protocol, TarnContinuousProtocol>},
    {&CLSID_MiraProtocol, Create<_Protocol, MiraProtocol>},
    {&CLSID_GenericProtocol, Create<_Protocol, GenericProtocol>},
    {&CLSID_DemandTemplateProtocol, Create<_Protocol, DemandTemplateProtocol>},
    {&CLSID_KesDemandTemplateProtocol, Create<_Protocol, KesDemandTemplateProtocol>},
    {&CLSID_TarnRecordTemplateConfig, Create<TarnRecordTemplateConfig, TarnRecordTemplateConfig>},
    {&CLSID_KesMessage,
     [](ComModule& module) {
       return Wrap(module, std::make_shared<KesMessage>(module.System().Locale()));
     }},
    {&CLSID_KesSDProtocol, Create<_Protocol, KesSDProtocol>},
    {&CLSID_SummitProtocol, Create<_Protocol, SummitProtocol>},
    {&CLSID_SDTagInfo, Create<SDTagInfo, SDTagInfo>},
    {&CLSID_SummitConfig, Create<_SummitConfig, SummitConfig>},
    {&CLSID_TarnScaleDiagConfig, Create<_SummitConfig, TarnScaleDiagConfig>},
    {&CLSID_TarnScaleDiagData, Create<_SummitData, TarnScaleDiagData>},
    {&CLSID_TarnPredictFailureConfig, Create<_SummitConfig, TarnPredictFailureConfig>},
    {&CLSID_TarnPredictFailureData, Create<_SummitData, TarnPredictFailureData>},
    {&CLSID_TarnOrbixDiagConfig, Create<_SummitConfig, TarnOrbixDiagConfig>},
    {&CLSID_TarnOrbixDiagData, Create<_SummitData, TarnOrbixDiagData>},
    {&CLSID_TarnKesBasicConfig, Create<_SummitConfig, TarnKesBasicConfig>},
    {&CLSID_TarnKesBasicData, Create<_SummitData, TarnKesBasicData>},
    {&CLSID_SummitData, Create<_SummitData, BaseSummitData>},
};

}  // namespace

std::span<const CreatableClass> CreatableClasses() {
  return kClasses;
}

}  // namespace tarn
