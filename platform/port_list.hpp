// The serial ports of this machine, for people who look for theirs.
#pragma once

#include <string>
#include <vector>

namespace tarn {

struct PortInfo {
  std::string device;  ///< "/dev/ttyUSB0", "COM3"
  std::string
      stableName;       ///< one that stays when adapters change places; empty where there is none
  std::string adapter;  ///< what the adapter calls itself; empty where it does not
  std::string holder;   ///< as PortHolder
};

/// In the order of their names. On Linux what lies below `root`, in place of the whole machine.
std::vector<PortInfo> ListPorts(const std::string& root = "");

/// Who has the device open, such as "picocom (process 812)"; several joined by "and". Empty where
/// nobody has it and where the system does not tell, as it does of other users' programs.
std::string PortHolder(const std::string& device, const std::string& root = "");

}  // namespace tarn
