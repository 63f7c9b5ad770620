// The commands of tarnscale. Each returns the exit status, or throws UsageError or Failure.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/arguments.hpp"
#include "tools/tarnscale/outlets.hpp"
#include "tools/tarnscale/program.hpp"

namespace tarn::tool {

struct RunOptions {
  bool json = false;
  bool readingsOnly = false;
  bool updates = false;
  bool csv = false;
  bool stable = false;
  bool changes = false;
  double every = 0;                   ///< seconds between two readings of a scale at least
  std::optional<int> count{};         ///< the command ends after so many lines
  std::vector<std::string> scales{};  ///< "1,2"; all scales when empty
  std::optional<double> seconds{};    ///< when given, the command ends after this time
  std::string capture;                ///< the folder for captures of all lines; none when empty
  OutletOptions outlets{};
};
int RunCommand(Program& program, const RunOptions& options);

struct MonitorOptions {
  bool all = false;
  int interval = 200;  ///< milliseconds between two drawings at least
  std::optional<double> seconds;
  std::string capture;  ///< as that of run
  OutletOptions outlets;
};
int MonitorCommand(Program& program, const MonitorOptions& options);
/// Shows the scales of a tarnscale that runs them already; false where there is none.
bool MonitorRunningServer(Program& program, const MonitorOptions& options);

struct ViewOptions {
  std::string events;  ///< a file or a named pipe; standard input when empty
  std::string title;   ///< the name of the settings file when empty
  int interval = 200;  ///< milliseconds between two drawings at least
  std::optional<double> seconds;
};
/// Ends the process itself when it has drawn anything.
int ViewCommand(Program& program, const ViewOptions& options);

struct ShowOptions {
  std::string scale;  ///< one scale only, unless empty
  bool json = false;
  bool all = false;
  bool brief = false;
};
int ShowCommand(Program& program, const ShowOptions& options);

struct SetOptions {
  std::string scale;
  std::vector<std::string> pairs;
};
int SetCommand(Program& program, const SetOptions& options);

struct DeleteOptions {
  std::string scale;
};
int DeleteCommand(Program& program, const DeleteOptions& options);

struct CopyOptions {
  std::string scale;
  std::string other;
  bool move = false;
};
int CopyCommand(Program& program, const CopyOptions& options);

struct CheckOptions {};
int CheckCommand(Program& program, const CheckOptions& options);

struct ReadOptions {
  std::string scale;
  bool gross = false;
  bool tare = false;  ///< the net weight where neither is set
  bool stable = false;
  bool json = false;
  double timeout = 5;  ///< seconds
};
int ReadCommand(Program& program, const ReadOptions& options);

struct SendOptions {
  std::string scale;
  std::string command;
  std::string value;
  double wait = 5;  ///< seconds to wait for what the terminal answers
};
int SendCommand(Program& program, const SendOptions& options);

struct PortsOptions {};
int PortsCommand(Program& program, const PortsOptions& options);

struct ScanOptions {
  std::string port;  ///< a number, or a device
  bool ask = false;  ///< sends harmless questions where listening finds nothing
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
