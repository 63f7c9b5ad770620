// A terminal's line for tests: keeps what is written, piece by piece.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/automation_error.hpp"
#include "platform/terminal_line.hpp"

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

}  // namespace tarn::sim
