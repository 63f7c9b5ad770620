// Simulated terminals for tests, on a line that keeps what they write.
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

/// 100 kg by 0.01 kg, so that 12.5 kg are 1250 display digits.
inline const Graduation kHundredKilograms = MakeGraduation(100, 0.01, {});

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

/// On a fast line, an answer is there one tick after its command.
struct Surroundings {
  std::string script{};
  FaultOptions faults{};
  std::string settings = "115200,n,8,1";
  Pace pace = Pace::Pieces;
};

/// A terminal on such a line, with a clock that the test turns.
template <class SomeTerminal>
struct Bench {
  explicit Bench(const typename SomeTerminal::Options& options, const Surroundings& around = {})
      : line(new SimulatedLine),
        terminal(options,
                 std::make_unique<Indicator>(Indicator::Options{kHundredKilograms},
                                             ParseLoadScript(around.script), LoadModel::Options{}),
                 std::make_unique<PacedLine>(std::unique_ptr<TerminalLine>(line),
                                             ParseSerialSettings(around.settings).CharacterTime(),
                                             around.pace, FaultInjector(around.faults, 7, 1))) {}

  /// Returns what is sent from now until then.
  std::string SentUntil(double until, double tick = 10) {
    line->pieces.clear();
    for (; now + tick <= until; now += tick) terminal.Tick(now + tick);
    return line->Written();
  }
  std::string Ask(const std::string& command) {
    line->Received.Raise(command);
    return SentUntil(now + 50);
  }

  SimulatedLine* line;
  SomeTerminal terminal;
  double now = 0;
};

}  // namespace tarn::sim
