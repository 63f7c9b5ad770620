// The commands of tarnscale. Each returns the exit status, or throws UsageError or Failure.
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
  std::optional<double> seconds;  ///< when given, the command ends after this time
  std::string capture;            ///< the folder for captures of all lines; none when empty
};
int RunCommand(Program& program, const RunOptions& options);

struct MonitorOptions {
  bool all = false;
  int interval = 200;  ///< milliseconds between two drawings at least
  std::optional<double> seconds;
  std::string capture;  ///< as that of run
};
int MonitorCommand(Program& program, const MonitorOptions& options);

struct ViewOptions {
  std::string events;  ///< a file or a named pipe; standard input when empty
  std::string title;   ///< the name of the settings file when empty
  int interval = 200;  ///< milliseconds between two drawings at least
  std::optional<double> seconds;
};
/// Ends the process itself when it has drawn anything.
int ViewCommand(Program& program, const ViewOptions& options);

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
  double wait = 5;  ///< seconds to wait for a print record
};
int SendCommand(Program& program, const SendOptions& options);

struct PortsOptions {};
int PortsCommand(Program& program, const PortsOptions& options);

struct ScanOptions {
  std::string port;  ///< a number, or a device
};
int ScanCommand(Program& program, const ScanOptions& options);

struct ReplayCommandOptions {
  std::vector<std::string> settings;
  int cut = 0;  ///< bytes of a piece; 0 for the pieces of the capture
  bool everyCut = false;
  bool fast = false;
  bool json = false;
};
/// The file of the common options is the capture.
int ReplayCommand(Program& program, const ReplayCommandOptions& options);

}  // namespace tarn::tool
