#include "server/class_registry.hpp"

#include <array>
#include <string>

#include "base/automation_error.hpp"
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
#include "scale/summit_data.hpp"
#include "scale/tarn_scale.hpp"
#include "shareddata/kes_sd_protocol.hpp"
#include "shareddata/sd_tag_info.hpp"
#include "shareddata/summit_config.hpp"
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

using Site = std::shared_ptr<ScaleSite>;

template <class Class>
std::shared_ptr<Persistable> Plain(const Site& /*site*/) {
  return std::make_shared<Class>();
}
template <class Class>
std::shared_ptr<Persistable> WithSite(const Site& site) {
  return std::make_shared<Class>(*site);
}
/// For classes that create further objects later and so keep the site.
template <class Class>
std::shared_ptr<Persistable> KeepingSite(const Site& site) {
  return std::make_shared<Class>(site);
}

struct Entry {
  std::string_view name;
  std::shared_ptr<Persistable> (*create)(const Site& site);
};

constexpr std::array kClasses = {
    Entry{"TarnScale",
          [](const Site& site) -> std::shared_ptr<Persistable> { return TarnScale::Create(site); }},
    Entry{"Connection", Plain<Connection>},
    Entry{"ArcNetConnection", WithSite<ArcNetConnection>},
    Entry{"EthernetConnection", WithSite<EthernetConnection>},
    Entry{"NoConnection", Plain<NoConnection>},
    Entry{"SerialConnection", WithSite<SerialConnection>},
    Entry{"Protocol", Plain<Protocol>},
    Entry{"KesSDProtocol", WithSite<KesSDProtocol>},
    Entry{"NoProtocol", Plain<NoProtocol>},
    Entry{"TarnContinuousProtocol", WithSite<TarnContinuousProtocol>},
    Entry{"MiraProtocol", WithSite<MiraProtocol>},
    Entry{"GenericProtocol", WithSite<GenericProtocol>},
    Entry{"DemandTemplateProtocol", KeepingSite<DemandTemplateProtocol>},
    Entry{"KesDemandTemplateProtocol", KeepingSite<KesDemandTemplateProtocol>},
    Entry{"TarnRecordTemplateConfig", WithSite<TarnRecordTemplateConfig>},
    Entry{"SDTagInfo", Plain<SDTagInfo>},
    Entry{"SummitConfig", Plain<SummitConfig>},
    Entry{"SummitData", Plain<SummitData>},
    Entry{"SummitProtocol", KeepingSite<SummitProtocol>},
    Entry{"TarnKesBasicConfig", Plain<TarnKesBasicConfig>},
    Entry{"TarnKesBasicData", WithSite<TarnKesBasicData>},
    Entry{"TarnOrbixDiagConfig", Plain<TarnOrbixDiagConfig>},
    Entry{"TarnOrbixDiagData", Plain<TarnOrbixDiagData>},
    Entry{"TarnPredictFailureConfig", Plain<TarnPredictFailureConfig>},
    Entry{"TarnPredictFailureData", Plain<TarnPredictFailureData>},
    Entry{"TarnScaleDiagConfig", Plain<TarnScaleDiagConfig>},
    Entry{"TarnScaleDiagData", WithSite<TarnScaleDiagData>},
};

}  // namespace

std::shared_ptr<Persistable> CreateClass(std::string_view className,
                                         const std::shared_ptr<ScaleSite>& site) {
  for (const Entry& entry : kClasses) {
    if (entry.name == className) return entry.create(site);
  }
  throw AutomationError(ErrorNumber::CannotCreateObject,
                        "No such class: " + std::string(className));
}

std::vector<std::string_view> ClassNames() {
  std::vector<std::string_view> names;
  names.reserve(kClasses.size());
  for (const Entry& entry : kClasses) names.push_back(entry.name);
  return names;
}

}  // namespace tarn
