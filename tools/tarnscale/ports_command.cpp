// ports: lists the serial ports of the machine.
#include <string>

#include "platform/port_list.hpp"
#include "platform/utf8.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/display_text.hpp"

namespace tarn::tool {

int PortsCommand(Program& program, const PortsOptions& /*options*/) {
  const auto ports = ListPorts();
  for (const PortInfo& port : ports) {
    const std::string adapter = port.adapter.empty() ? "" : ", " + port.adapter;
    const std::string holder = port.holder.empty() ? "" : ", in use by " + port.holder;
    const std::string& name = port.stableName.empty() ? port.device : port.stableName;
    program.Output().Write(Printable(port.device + adapter + holder) +
                           "\n  --port N=" + ShellWord(Printable(name)) + "\n");
  }
  if (ports.empty()) program.Say("this machine has no serial port, or shows none to this user");
  return kSuccess;
}

}  // namespace tarn::tool
