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
#include "shareddata/data_sets.hpp"
#include "shareddata/kes_sd_protocol.hpp"
#include "shareddata/sd_tag_info.hpp"
#include "shareddata/summit_config.hpp"
#include "shareddata/summit_protocol.hpp"

namespace tarn {
namespace {

constexpr std::array kClasses = {
    RowOf<TarnScale>(),
    RowOf<Connection>(),
    RowOf<NoConnection>("none"),
    RowOf<SerialConnection>("serial"),
    RowOf<EthernetConnection>("ethernet"),
    RowOf<ArcNetConnection>("arcnet"),
    RowOf<Protocol>(),
    RowOf<NoProtocol>("none"),
    RowOf<TarnContinuousProtocol>("continuous"),
    RowOf<DemandTemplateProtocol>("template"),
    RowOf<KesDemandTemplateProtocol>("tcp-template"),
    RowOf<MiraProtocol>("mira"),
    RowOf<GenericProtocol>("generic"),
    RowOf<KesSDProtocol>("shared-data"),
    RowOf<SummitProtocol>("variables"),
    RowOf<TarnRecordTemplateConfig>(),
    RowOf<SDTagInfo>(),
    RowOf<SummitConfig>(),
    RowOf<SummitData>(),
};

}  // namespace

std::span<const ClassRow> RegisteredClasses() {
  return kClasses;
}

std::shared_ptr<Persistable> CreateClass(std::string_view className,
                                         const std::shared_ptr<ScaleSite>& site) {
  for (const ClassRow& row : kClasses) {
    if (row.name == className) return row.create(site);
  }
  for (const DataSet& set : DataSets()) {
    for (const ClassRow& row : {set.configuration, set.data}) {
      if (row.name == className) return row.create(site);
    }
  }
  throw AutomationError(ErrorNumber::CannotCreateObject,
                        "No such class: " + std::string(className));
}

}  // namespace tarn
