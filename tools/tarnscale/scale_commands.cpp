#include "tools/tarnscale/scale_commands.hpp"

#include <algorithm>
#include <array>

#include "base/number_text.hpp"
#include "connections/ethernet_connection.hpp"
#include "connections/serial_connection.hpp"

namespace tarn::tool {
namespace {

using Kind = ScaleCommand::Kind;

constexpr std::array kCommands = {
    ScaleCommand{Kind::Zero, "Z", "set to zero", 'z', true},
    ScaleCommand{Kind::Tare, "T", "tare", 't', true},
    ScaleCommand{Kind::ClearTare, "C", "clear the tare", 'c', true},
    ScaleCommand{Kind::Print, "P", "print at the terminal", 'p', true},
    ScaleCommand{Kind::PresetTare, "SetTare", "preset the tare to VALUE", 's', true},
    ScaleCommand{Kind::TakePrint, "print", "a print record of the next reading without motion", 'r',
                 false},
    ScaleCommand{Kind::TakePrintNow, "print-now", "a print record of the present reading", 'R',
                 false},
};

template <class Matches>
const ScaleCommand* FindWhere(Matches matches) {
  const auto* found = std::find_if(kCommands.begin(), kCommands.end(), matches);
  return found == kCommands.end() ? nullptr : found;
}

ProtocolClass FamilyOf(const TarnScale& scale) {
  const auto protocol = scale.Protocol();
  return protocol ? TypeToClass(protocol->pType()) : ProtocolClass::NoProt;
}

bool IsTemplate(ProtocolClass family) {
  return family == ProtocolClass::DemandTemplate || family == ProtocolClass::KesDemandTemplate;
}

std::string PrintHindrance(ProtocolClass family) {
  const bool weighs = !IsTemplate(family) && family != ProtocolClass::SummitDataClass;
  return weighs ? std::string() : "its protocol has no weights to print";
}

}  // namespace

std::span<const ScaleCommand> ScaleCommands() {
  return kCommands;
}

const ScaleCommand* FindCommand(std::string_view name) {
  return FindWhere([&](const ScaleCommand& c) { return EqualIgnoringCase(c.name, name); });
}

const ScaleCommand* FindCommandKey(char key) {
  return FindWhere([&](const ScaleCommand& c) { return c.key == key; });
}

std::string CommandHindrance(const TarnScale& scale, const ScaleCommand& command) {
  if (scale.Disabled()) return "it is disabled";
  if (!command.toTerminal) return PrintHindrance(FamilyOf(scale));
  const auto connection = scale.Connection();
  if (!connection || connection->Ctype() == ConnectionType::none) return "it has no connection";
  const auto protocol = scale.Protocol();
  if (!protocol || protocol->pType() == ProtocolType::NoProtType) return "it has no protocol";
  if (!connection->IsBidirectional() && connection->Ctype() != ConnectionType::arcnet) {
    return "its connection is one-way (bidirectional=no), so nothing is sent";
  }
  const ProtocolClass family = FamilyOf(scale);
  if (family == ProtocolClass::Generic || family == ProtocolClass::SummitDataClass) {
    return "its protocol has no commands";
  }
  if (IsTemplate(family) && command.kind != Kind::Print) {
    return "its protocol has no command but P";
  }
  if (family == ProtocolClass::Mira && command.kind == Kind::Print) {
    return "its protocol has no print command; \"print\" takes the next reading";
  }
  return {};
}

bool CommandNeedsReading(const TarnScale& scale) {
  return FamilyOf(scale) == ProtocolClass::Mira;
}

std::string LineCondition(const TarnScale& scale) {
  const auto connection = scale.Connection();
  if (const auto serial = std::dynamic_pointer_cast<SerialConnection>(connection)) {
    if (serial->SaxPort() && !serial->SaxPort()->PortOpen()) return "port closed";
  }
  if (const auto ethernet = std::dynamic_pointer_cast<EthernetConnection>(connection)) {
    const auto socket = ethernet->mvarSocket();
    const auto state = socket ? socket->State() : SocketState::Closed;
    if (state != SocketState::Connected && state != SocketState::Open) return "unconnected";
  }
  return {};
}

void GiveCommand(TarnScale& scale, const ScaleCommand& command, double tare) {
  // Settings files do not keep this of the terminals' own network, so nobody could have set it.
  const auto connection = scale.Connection();
  if (command.toTerminal && connection && connection->Ctype() == ConnectionType::arcnet) {
    connection->IsBidirectional(true);
  }
  switch (command.kind) {
    case Kind::Zero:
      return scale.Z();
    case Kind::Tare:
      return scale.T();
    case Kind::ClearTare:
      return scale.C();
    case Kind::Print:
      return scale.P();
    case Kind::PresetTare:
      return scale.SetTare(tare);
    case Kind::TakePrint:
      return scale.printRequest(false);
    case Kind::TakePrintNow:
      return scale.printRequest(true);
  }
}

}  // namespace tarn::tool
