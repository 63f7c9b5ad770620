// Turns drawings into the bytes that a terminal needs, which are only the lines that changed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/console.hpp"
#include "tools/tarnscale/monitor_view.hpp"

namespace tarn::tool {

/// Enters the alternate screen, without a cursor; leaving it restores the user's screen.
inline constexpr std::string_view kEnterScreen = "\x1b[?1049h\x1b[?25l\x1b[2J";
inline constexpr std::string_view kLeaveScreen = "\x1b[?25h\x1b[?1049l";

class Screen {
 public:
  /// Returns the sequences that make the screen show the drawing; empty when it already does.
  std::string Update(const Drawing& drawing, Console::Size size);

 private:
  std::vector<std::string> shown_;  ///< the lines as they were sent
  Console::Size size_{0, 0};
};

}  // namespace tarn::tool
