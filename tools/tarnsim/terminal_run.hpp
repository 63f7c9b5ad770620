// Runs the terminals of a subcommand: opens their ports, reports what happens, ends in time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/native_host.hpp"
#include "tools/tarnsim/common_options.hpp"
#include "tools/tarnsim/simulation.hpp"

namespace tarn::sim {

/// The parts that every terminal is built from.
struct TerminalParts {
  std::unique_ptr<Indicator> indicator;
  std::unique_ptr<PacedLine> line;  ///< null for a terminal that uses datagrams
  std::string port;
  std::uint64_t seed = 0;
  double phase = 0;  ///< 0 to 1, so that several terminals do not send at the same moments
};

class TerminalRun {
 public:
  using MakeTerminal = std::function<std::unique_ptr<Terminal>(TerminalParts parts)>;

  /// Throws UsageError when the options contradict each other or are out of range.
  explicit TerminalRun(const CommonOptions& options);

  const CommonSetup& Setup() const { return setup_; }
  Host& System() { return *host_; }
  void Run(const MakeTerminal& make);

 private:
  Simulation::Options RunOptions() const;
  std::unique_ptr<TerminalLine> MakeLine(const std::string& port);
  TerminalParts PartsOf(std::size_t index);
  void AddTerminal(const MakeTerminal& make, std::size_t index);
  void Report(Event<std::string_view>& event, const std::string& port, const std::string& what);

  CommonOptions options_;
  std::unique_ptr<NativeHost> host_;
  CommonSetup setup_;
  std::unique_ptr<Console> console_;
  Simulation simulation_;
  std::vector<Subscription> reports_;
};

/// Returns the milliseconds between two frames, 0 for "max" (as fast as the line goes). Throws
/// UsageError.
double FramePeriod(const std::string& rate);

/// The part about load scripts in the help of each subcommand.
extern const char* const kLoadScriptHelp;

}  // namespace tarn::sim
