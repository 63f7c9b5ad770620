// The options that the subcommands share, and the setup that follows from them.
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

/// The values as given on the command line.
struct CommonOptions {
  std::vector<std::string> ports;
  std::optional<int>
      tcpPort;  ///< given: the ports are addresses, each with a listener at this TCP port
  bool datagrams = false;  ///< the ports are addresses of terminals without a line
  int count = 1;
  std::string line;  ///< in place of the four that follow
  std::string baud = "9600";
  std::string parity = "e";
  std::string dataBits = "7";
  std::string stopBits = "2";
  std::string pace = "pieces";
  bool wire = false;

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

/// The checked values, in the form that the simulation needs.
struct CommonSetup {
  std::vector<std::string> ports;
  SerialSettings line;
  Pace pace = Pace::Pieces;
  bool wire = false;  ///< see WireLine
  Units units = Units::Kilogram;
  Graduation graduation;
  LoadScript script;
  FaultOptions faults;
};

/// Adds the options of a terminal on a line.
void AddCommonOptions(Command& command, CommonOptions& options);
/// Adds the options that do not concern a line.
void AddTerminalOptions(Command& command, CommonOptions& options);

/// Throws UsageError; AutomationError where the script file cannot be read.
CommonSetup CheckedSetup(const CommonOptions& options, Files& files);

/// Returns the seed of one of several terminals.
std::uint64_t SeedOf(const CommonOptions& options, std::size_t terminal);

std::unique_ptr<Indicator> MakeIndicator(const CommonOptions& options, const CommonSetup& setup,
                                         std::uint64_t seed);

std::unique_ptr<PacedLine> MakePacedLine(std::unique_ptr<TerminalLine> line,
                                         const CommonSetup& setup, std::uint64_t seed);

}  // namespace tarn::sim
