// Turns drawings into what a terminal has to be sent to show them: only the lines that changed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/console.hpp"
#include "tools/tarnscale/monitor_view.hpp"

namespace tarn::tool {

/// The screen beside the one that the user works on, without a cursor; leaving it shows the user's
/// own screen as it was.
inline constexpr std::string_view kEnterScreen = "\x1b[?1049h\x1b[?25l\x1b[2J";
inline constexpr std::string_view kLeaveScreen = "\x1b[?25h\x1b[?1049l";

class Screen {
 public:
  /// The sequences that make the screen show the drawing; empty where it does already.
  std::string Update(const Drawing& drawing, Console::Size size);

 private:
  std::vector<std::string> shown_;  ///< the lines as they were sent
  Console::Size size_{0, 0};
};

}  // namespace tarn::tool
