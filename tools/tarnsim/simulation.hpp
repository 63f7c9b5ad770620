// Runs simulated terminals with one timer and hands them the keys of the console.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/native_host.hpp"
#include "tools/tarnsim/terminal.hpp"

namespace tarn::sim {

class Simulation {
 public:
  struct Options {
    int tick = 10;                 ///< milliseconds between two ticks of the terminals
    std::optional<double> runFor;  ///< milliseconds; no limit when not given
    bool endWithInput = false;     ///< ends when standard input does
  };

  Simulation(Host& host, Console& console, const Options& options);

  void Add(std::unique_ptr<Terminal> terminal) { terminals_.push_back(std::move(terminal)); }

  /// Returns at the end of the time, at Ctrl-C or a request to end, and at the key q.
  void Run();

 private:
  void Tick();
  void TickOne(Terminal& terminal, double now);
  void TakeKey(Console::Key key, char character);

  Host& host_;
  Console& console_;
  Options options_;
  std::vector<std::unique_ptr<Terminal>> terminals_;
  double start_ = 0;
};

}  // namespace tarn::sim
