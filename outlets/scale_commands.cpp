#include "outlets/scale_commands.hpp"

#include <algorithm>
#include <array>

#include "base/number_text.hpp"
#include "connections/ethernet_connection.hpp"
#include "connections/serial_connection.hpp"

namespace tarn {
namespace {

using enum OperatorCommand;

constexpr std::array kCommands = {
    ScaleCommand{Zero, "Z", "zero", "set to zero", 'z'},
    ScaleCommand{Tare, "T", "tare", "tare", 't'},
    ScaleCommand{ClearTare, "C", "clear", "clear the tare", 'c'},
    ScaleCommand{Print, "P", "print", "print at the terminal", 'p'},
    ScaleCommand{PresetTare, "SetTare", "preset-tare", "preset the tare to VALUE", 's'},
    ScaleCommand{TakePrint, "print", "take-print",
                 "a print record of the next reading without motion", 'r'},
    ScaleCommand{TakePrintNow, "print-now", "take-print-now",
                 "a print record of the present reading", 'R'},
};

template <class Matches>
const ScaleCommand* FindWhere(Matches matches) {
  const auto* found = std::find_if(kCommands.begin(), kCommands.end(), matches);
  return found == kCommands.end() ? nullptr : found;
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

const ScaleCommand* FindCommandWord(std::string_view word) {
  return FindWhere([&](const ScaleCommand& c) { return c.word == word; });
}

std::string CommandHindrance(const TarnScale& scale, const ScaleCommand& command) {
  if (scale.Disabled()) return "it is disabled";
  const auto connection = scale.Connection();
  const auto protocol = scale.Protocol();
  if (GoesToTerminal(command.command)) {
    if (!connection || connection->Ctype() == ConnectionType::none) return "it has no connection";
    if (!protocol || protocol->pType() == ProtocolType::NoProtType) return "it has no protocol";
    if (!connection->IsBidirectional() && connection->Ctype() != ConnectionType::arcnet) {
      return "its connection is one-way (bidirectional=no), so nothing is sent";
    }
  }
  return protocol ? std::string(protocol->CommandHindrance(command.command)) : std::string();
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
  if (GoesToTerminal(command.command) && connection &&
      connection->Ctype() == ConnectionType::arcnet) {
    connection->IsBidirectional(true);
  }
  switch (command.command) {
    case Zero:
      return scale.Z();
    case Tare:
      return scale.T();
    case ClearTare:
      return scale.C();
    case Print:
      return scale.P(PrintOrigin::Request);
    case PresetTare:
      return scale.SetTare(tare);
    case TakePrint:
      return scale.printRequest(false, PrintOrigin::Request);
    case TakePrintNow:
      return scale.printRequest(true, PrintOrigin::Request);
  }
}

}  // namespace tarn
