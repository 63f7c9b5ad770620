#include "tools/tarnscale/class_names.hpp"

#include <array>
#include <cstddef>
#include <memory>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"
#include "connections/arcnet_connection.hpp"
#include "connections/ethernet_connection.hpp"
#include "connections/serial_connection.hpp"

namespace tarn::tool {
namespace {

constexpr std::array kConnections = {
    ClassChoice{"none", "NoConnection"},
    ClassChoice{"serial", "SerialConnection"},
    ClassChoice{"ethernet", "EthernetConnection"},
    ClassChoice{"arcnet", "ArcNetConnection"},
};

constexpr std::array kProtocols = {
    ClassChoice{"none", "NoProtocol"},
    ClassChoice{"continuous", "TarnContinuousProtocol"},
    ClassChoice{"template", "DemandTemplateProtocol"},
    ClassChoice{"tcp-template", "KesDemandTemplateProtocol"},
    ClassChoice{"variables", "SummitProtocol"},
    ClassChoice{"mira", "MiraProtocol"},
    ClassChoice{"generic", "GenericProtocol"},
    ClassChoice{"shared-data", "KesSDProtocol"},
};

/// In the order of the numbers.
struct TypeName {
  std::string_view name;
  std::string_view word = {};
};

constexpr std::array<TypeName, 29> kTypes = {{
    {"NoProtType", "none"},
    {"TarnContinuousStandard", "standard"},
    {"TarnContinuousStandardSetpoint", "standard-setpoint"},
    {"TarnContinuousStandardCount", "standard-count"},
    {"TarnContinuousShort", "short"},
    {"TarnContinuousShortSetpoint", "short-setpoint"},
    {"Mira_Level_0_SIR", "sir"},
    {"Mira_Level_0_Mode_Commands", "mode-commands"},
    {"Demand_GTN"},
    {"Demand_GTN_ID_T_D"},
    {"Demand_GTN_ID_T_D_Pieces"},
    {"HostAlder"},
    {"HostBirch"},
    {"HostCedar"},
    {"KesSharedDataType", "shared-data"},
    {"KesSQLType"},
    {"FenBalanceType"},
    {"RowanBCType"},
    {"DemandTemplateType", "template"},
    {"KesDemandTemplateType", "tcp-template"},
    {"OrbixDiagDataType", "cells"},
    {"PredictFailureDataType", "prediction"},
    {"ScaleDiagDataType", "diagnostics"},
    {"KesBasicDataType", "basic"},
    {"CardinalScbdContinuous", "cardinal"},
    {"FairbanksAutoComp", "fairbanks"},
    {"GSE550", "gse550"},
    {"RiceLakeCCSerial", "ricelake"},
    {"WeighTronixWI120", "wi120"},
}};

const TypeName* FindType(ProtocolType type) {
  const auto index = static_cast<std::size_t>(type);  // a negative number becomes a huge index
  return index < kTypes.size() ? &kTypes[index] : nullptr;
}

std::string SerialText(const SerialConnection& serial) {
  std::string text = "COM" + std::to_string(serial.ComPort()) + " ";
  text += BaudRatePiece(serial.BaudRate());
  text += ParityPiece(serial.Parity());
  text += DataBitsPiece(serial.DataBits());
  text += StopBitsPiece(serial.StopBits());
  return text;
}

}  // namespace

std::span<const ClassChoice> ConnectionChoices() {
  return kConnections;
}
std::span<const ClassChoice> ProtocolChoices() {
  return kProtocols;
}

std::string ChoiceOf(std::span<const ClassChoice> choices, std::string_view className) {
  for (const ClassChoice& choice : choices) {
    if (choice.className == className) return std::string(choice.choice);
  }
  return std::string(className);
}

std::string ListOf(std::span<const ClassChoice> choices) {
  std::string list;
  for (const ClassChoice& choice : choices) {
    if (!list.empty()) list += ", ";
    list += choice.choice;
  }
  return list;
}

std::string ProtocolTypeName(ProtocolType type) {
  const TypeName* found = FindType(type);
  return found ? std::string(found->name) : std::to_string(static_cast<std::int32_t>(type));
}

std::string ProtocolTypeWord(ProtocolType type) {
  const TypeName* found = FindType(type);
  return found && !found->word.empty() ? std::string(found->word) : ProtocolTypeName(type);
}

std::optional<ProtocolType> ParseProtocolType(std::string_view text) {
  for (std::size_t i = 0; i < kTypes.size(); ++i) {
    const bool isName = EqualIgnoringCase(text, kTypes[i].name);
    const bool isWord = !kTypes[i].word.empty() && EqualIgnoringCase(text, kTypes[i].word);
    if (isName || isWord || text == std::to_string(i)) {
      return ProtocolType{static_cast<std::int32_t>(i)};
    }
  }
  return std::nullopt;
}

std::string ConnectionText(const TarnScale& scale) {
  const auto connection = scale.Connection();
  if (!connection) return {};
  if (const auto serial = std::dynamic_pointer_cast<SerialConnection>(connection)) {
    return SerialText(*serial);
  }
  if (const auto ethernet = std::dynamic_pointer_cast<EthernetConnection>(connection)) {
    return ethernet->IPAddress();
  }
  if (const auto arcnet = std::dynamic_pointer_cast<ArcNetConnection>(connection)) {
    return arcnet->AddressPrefix().empty() ? "arcnet, no address" : arcnet->AddressPrefix();
  }
  return ChoiceOf(ConnectionChoices(), connection->ClassName());
}

std::string ProtocolText(const TarnScale& scale) {
  const auto protocol = scale.Protocol();
  if (!protocol) return {};
  std::string choice = ChoiceOf(ProtocolChoices(), protocol->ClassName());
  if (protocol->pType() == ProtocolType::NoProtType) return choice;
  const std::string type = ProtocolTypeWord(protocol->pType());
  return type == choice ? choice : choice + " " + type;
}

}  // namespace tarn::tool
