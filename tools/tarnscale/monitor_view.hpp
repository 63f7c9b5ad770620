// Draws the monitor as lines of text that fit the screen.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "outlets/scale_event.hpp"
#include "platform/console.hpp"

namespace tarn::tool {

struct MonitorRow {
  int number = 0;
  std::string alias{};
  std::string connection{};
  std::string protocol{};
  Reading reading{};
  bool activityLed = false;
  bool errorLed = false;
  double readingsPerSecond = 0;
  std::string
      condition{};  ///< why there are no readings, such as "disabled"; shown in place of the flags
};

struct MonitorSnapshot {
  std::string title{};
  std::vector<MonitorRow> rows{};
  std::size_t selected = 0;           ///< index into rows
  std::vector<std::string> events{};  ///< oldest first
  std::size_t eventsBack = 0;         ///< how many of the newest events are not shown
  /// Lines that come by themselves again and again, oldest first; they get what room the events
  /// leave, but at most half of it where it is scarce.
  std::vector<std::string> passing{};
  std::vector<std::string> detail{};  ///< about the selected row, below the table
  std::vector<std::string> help{};    ///< shown in place of the table when not empty
  std::string prompt{};               ///< shown in place of the line of keys when not empty
};

struct Drawing {
  static constexpr std::size_t kNoLine = static_cast<std::size_t>(-1);

  std::vector<std::string> lines;  ///< one for each line of the screen, none longer than its width
  std::size_t selectedLine = kNoLine;
};

/// On a screen that is too narrow, the least important columns are left out. On a screen that is
/// too low, the rows around the selected one are shown.
Drawing DrawMonitor(const MonitorSnapshot& snapshot, Console::Size size);

}  // namespace tarn::tool
