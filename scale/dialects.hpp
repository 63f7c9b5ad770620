// The dialects that terminals speak: one row each, by which everybody else knows them.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "scale/enumerations.hpp"

namespace tarn {

struct Dialect {
  ProtocolType type;
  std::string_view name;  ///< as published
  ProtocolClass family;
  std::string_view word = {};  ///< what users write; empty for a dialect that no protocol speaks
};

/// In the order of the numbers, which have no gap.
inline constexpr std::array kDialects = {
    Dialect{ProtocolType::NoProtType, "NoProtType", ProtocolClass::NoProt, "none"},
    Dialect{ProtocolType::TarnContinuousStandard, "TarnContinuousStandard",
            ProtocolClass::TarnContinuous, "standard"},
    Dialect{ProtocolType::TarnContinuousStandardSetpoint, "TarnContinuousStandardSetpoint",
            ProtocolClass::TarnContinuous, "standard-setpoint"},
    Dialect{ProtocolType::TarnContinuousStandardCount, "TarnContinuousStandardCount",
            ProtocolClass::TarnContinuous, "standard-count"},
    Dialect{ProtocolType::TarnContinuousShort, "TarnContinuousShort", ProtocolClass::TarnContinuous,
            "short"},
    Dialect{ProtocolType::TarnContinuousShortSetpoint, "TarnContinuousShortSetpoint",
            ProtocolClass::TarnContinuous, "short-setpoint"},
    Dialect{ProtocolType::Mira_Level_0_SIR, "Mira_Level_0_SIR", ProtocolClass::Mira, "sir"},
    Dialect{ProtocolType::Mira_Level_0_Mode_Commands, "Mira_Level_0_Mode_Commands",
            ProtocolClass::Mira, "mode-commands"},
    Dialect{ProtocolType::Demand_GTN, "Demand_GTN", ProtocolClass::Demand},
    Dialect{ProtocolType::Demand_GTN_ID_T_D, "Demand_GTN_ID_T_D", ProtocolClass::Demand},
    Dialect{ProtocolType::Demand_GTN_ID_T_D_Pieces, "Demand_GTN_ID_T_D_Pieces",
            ProtocolClass::Demand},
    Dialect{ProtocolType::HostAlder, "HostAlder", ProtocolClass::Host},
    Dialect{ProtocolType::HostBirch, "HostBirch", ProtocolClass::Host},
    Dialect{ProtocolType::HostCedar, "HostCedar", ProtocolClass::Host},
    Dialect{ProtocolType::KesSharedDataType, "KesSharedDataType", ProtocolClass::KesSharedData,
            "shared-data"},
    Dialect{ProtocolType::KesSQLType, "KesSQLType", ProtocolClass::KesSQL},
    Dialect{ProtocolType::FenBalanceType, "FenBalanceType", ProtocolClass::FenBalance},
    Dialect{ProtocolType::RowanBCType, "RowanBCType", ProtocolClass::RowanBC},
    Dialect{ProtocolType::DemandTemplateType, "DemandTemplateType", ProtocolClass::DemandTemplate,
            "template"},
    Dialect{ProtocolType::KesDemandTemplateType, "KesDemandTemplateType",
            ProtocolClass::KesDemandTemplate, "tcp-template"},
    Dialect{ProtocolType::OrbixDiagDataType, "OrbixDiagDataType", ProtocolClass::SummitDataClass,
            "cells"},
    Dialect{ProtocolType::PredictFailureDataType, "PredictFailureDataType",
            ProtocolClass::SummitDataClass, "prediction"},
    Dialect{ProtocolType::ScaleDiagDataType, "ScaleDiagDataType", ProtocolClass::SummitDataClass,
            "diagnostics"},
    Dialect{ProtocolType::KesBasicDataType, "KesBasicDataType", ProtocolClass::SummitDataClass,
            "basic"},
    Dialect{ProtocolType::CardinalScbdContinuous, "CardinalScbdContinuous", ProtocolClass::Generic,
            "cardinal"},
    Dialect{ProtocolType::FairbanksAutoComp, "FairbanksAutoComp", ProtocolClass::Generic,
            "fairbanks"},
    Dialect{ProtocolType::GSE550, "GSE550", ProtocolClass::Generic, "gse550"},
    Dialect{ProtocolType::RiceLakeCCSerial, "RiceLakeCCSerial", ProtocolClass::Generic, "ricelake"},
    Dialect{ProtocolType::WeighTronixWI120, "WeighTronixWI120", ProtocolClass::Generic, "wi120"},
};

/// Null for a number that is no dialect.
constexpr const Dialect* FindDialect(ProtocolType type) {
  const auto index = static_cast<std::size_t>(type);  // a negative number becomes a huge index
  return index < kDialects.size() ? &kDialects[index] : nullptr;
}

/// Whether a table has one row, with a member `type`, for each dialect of a family, and no others.
template <class Table>
constexpr bool CoversFamily(const Table& table, ProtocolClass family) {
  std::size_t dialects = 0;
  for (const Dialect& dialect : kDialects) {
    if (dialect.family != family) continue;
    ++dialects;
    const auto isItsRow = [&](const auto& row) { return row.type == dialect.type; };
    if (std::count_if(table.begin(), table.end(), isItsRow) != 1) return false;
  }
  return table.size() == dialects;
}

}  // namespace tarn
