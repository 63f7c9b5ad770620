// Runs a subcommand's terminals: the ports, the reports for people, the end.
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

/// What every terminal is made of.
struct TerminalParts {
  std::unique_ptr<Indicator> indicator;
  std::unique_ptr<PacedLine> line;  ///< none for a terminal that is reached by datagrams
  std::string port;
  std::uint64_t seed = 0;
  double phase = 0;  ///< 0 to 1: several terminals do not send at the same moments
};

class TerminalRun {
 public:
  using MakeTerminal = std::function<std::unique_ptr<Terminal>(TerminalParts parts)>;

  /// Throws UsageError for options that cannot be.
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

/// Milliseconds between frames, 0 for as fast as the line goes ("max"). Throws UsageError.
double FramePeriod(const std::string& rate);

/// What the help of each subcommand tells about load scripts.
extern const char* const kLoadScriptHelp;

}  // namespace tarn::sim
