// The options that every subcommand shares, and what they come to.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/files.hpp"
#include "platform/serial_settings.hpp"
#include "tools/tarnsim/commands.hpp"
#include "tools/tarnsim/fault_injector.hpp"
#include "tools/tarnsim/graduation.hpp"
#include "tools/tarnsim/indicator.hpp"
#include "tools/tarnsim/load_script.hpp"
#include "tools/tarnsim/paced_line.hpp"

namespace tarn::sim {

/// As they stand on the command line.
struct CommonOptions {
  std::vector<std::string> ports;
  std::optional<int> tcpPort;  ///< the ports are addresses at which this TCP port is listened to
  bool datagrams = false;      ///< the ports are addresses of terminals without a line
  int count = 1;
  std::string line;  ///< in place of the four that follow
  std::string baud = "9600";
  std::string parity = "e";
  std::string dataBits = "7";
  std::string stopBits = "2";
  std::string pace = "pieces";

  std::string units = "kg";
  double capacity = 100;
  double division = 0.01;
  std::optional<int> decimals;
  bool notZeroed = false;

  std::string load;
  std::string scriptFile;
  double noiseDigits = 0;
  double driftDigits = 0;
  std::uint64_t seed = 1;

  FaultOptions faults;
  std::string silent;
  std::string vanished;

  std::optional<double> runFor;  ///< seconds
  bool endWithInput = false;
  bool quiet = false;
  int verbose = 0;
};

/// Checked, and as the simulation wants it.
struct CommonSetup {
  std::vector<std::string> ports;
  SerialSettings line;
  Pace pace = Pace::Pieces;
  Units units = Units::Kilogram;
  Graduation graduation;
  LoadScript script;
  FaultOptions faults;
};

/// Those of a terminal on a line.
void AddCommonOptions(Command& command, CommonOptions& options);
/// Those that have nothing to do with a line.
void AddTerminalOptions(Command& command, CommonOptions& options);

/// Throws UsageError; AutomationError where the script file cannot be read.
CommonSetup CheckedSetup(const CommonOptions& options, Files& files);

/// The seed of one of several terminals.
std::uint64_t SeedOf(const CommonOptions& options, std::size_t terminal);

std::unique_ptr<Indicator> MakeIndicator(const CommonOptions& options, const CommonSetup& setup,
                                         std::uint64_t seed);

std::unique_ptr<PacedLine> MakePacedLine(std::unique_ptr<TerminalLine> line,
                                         const CommonSetup& setup, std::uint64_t seed);

}  // namespace tarn::sim
