// Runs simulated terminals: one timer for all of them, the keys of the console, the end.
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
    int tick = 10;                 ///< milliseconds between two looks at the lines
    std::optional<double> runFor;  ///< milliseconds; without it until something else ends it
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
