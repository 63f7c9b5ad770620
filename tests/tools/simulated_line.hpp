// A terminal's line for tests: keeps what is written, piece by piece. And a terminal on it.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/automation_error.hpp"
#include "platform/serial_settings.hpp"
#include "platform/terminal_line.hpp"
#include "tools/tarnsim/indicator.hpp"
#include "tools/tarnsim/paced_line.hpp"

namespace tarn::sim {

class SimulatedLine final : public TerminalLine {
 public:
  void Attach() override {
    ++attachTries;
    if (failAttach) throw *failAttach;
    attached = true;
  }
  void Detach() override { attached = false; }
  bool IsAttached() const override { return attached; }
  std::size_t Write(std::string_view bytes) override {
    pieces.emplace_back(bytes);
    return bytes.size();
  }

  /// All pieces in one.
  std::string Written() const {
    std::string all;
    for (const std::string& piece : pieces) all += piece;
    return all;
  }

  bool attached = true;
  int attachTries = 0;
  std::optional<AutomationError> failAttach;
  std::vector<std::string> pieces;
};

/// A terminal on such a line, with a clock that the test turns.
template <class SomeTerminal>
struct TerminalBench {
  TerminalBench(const typename SomeTerminal::Options& options, const Graduation& graduation,
                const std::string& script = {}, const FaultOptions& faults = {},
                const std::string& settings = "9600,e,7,2", Pace pace = Pace::Pieces)
      : line(new SimulatedLine),
        terminal(options,
                 std::make_unique<Indicator>(Indicator::Options{graduation},
                                             ParseLoadScript(script), LoadModel::Options{}),
                 std::make_unique<PacedLine>(std::unique_ptr<TerminalLine>(line),
                                             ParseSerialSettings(settings).CharacterTime(), pace,
                                             FaultInjector(faults, 7, 1))) {}

  void Run(double until, double tick = 10) {
    for (; now + tick <= until; now += tick) terminal.Tick(now + tick);
  }
  /// What is sent from now until then.
  std::string SentUntil(double until) {
    line->pieces.clear();
    Run(until);
    return line->Written();
  }

  SimulatedLine* line;
  SomeTerminal terminal;
  double now = 0;
};

}  // namespace tarn::sim
