// The commands of tarnscale. Each returns the exit status and throws UsageError and Failure.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/arguments.hpp"
#include "tools/tarnscale/program.hpp"

namespace tarn::tool {

struct RunOptions {
  bool json = false;
  bool readingsOnly = false;
  bool updates = false;
  std::optional<double> seconds;  ///< without it until something else ends it
};
int RunCommand(Program& program, const RunOptions& options);

struct MonitorOptions {
  bool all = false;
  int interval = 200;  ///< milliseconds between two drawings at least
  std::optional<double> seconds;
};
int MonitorCommand(Program& program, const MonitorOptions& options);

struct ShowOptions {
  bool json = false;
  bool all = false;
};
int ShowCommand(Program& program, const ShowOptions& options);

struct SetOptions {
  int scale = 0;
  std::vector<std::string> pairs;
};
int SetCommand(Program& program, const SetOptions& options);

struct SendOptions {
  int scale = 0;
  std::string command;
  std::string value;
  double wait = 5;  ///< seconds for a print record
};
int SendCommand(Program& program, const SendOptions& options);

}  // namespace tarn::tool
