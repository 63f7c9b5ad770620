// Draws the monitor: from what is to be seen and the size of the screen to lines of text.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/console.hpp"
#include "tools/tarnscale/scale_event.hpp"

namespace tarn::tool {

struct MonitorRow {
  int number = 0;
  std::string alias;
  std::string connection;
  std::string protocol;
  Reading reading;
  bool activityLed = false;
  bool errorLed = false;
  double readingsPerSecond = 0;
  std::string condition;  ///< why there are no readings: "disabled"; shown in place of the flags
};

struct MonitorSnapshot {
  std::string title;
  std::vector<MonitorRow> rows;
  std::size_t selected = 0;         ///< index into rows
  std::vector<std::string> events;  ///< oldest first
  std::string prompt;               ///< in place of the line of keys when a number is asked for
};

struct Drawing {
  static constexpr std::size_t kNoLine = static_cast<std::size_t>(-1);

  std::vector<std::string> lines;  ///< as many as the screen has, none longer than it is wide
  std::size_t selectedLine = kNoLine;
};

/// On a screen that is too narrow for all columns the least needed ones go first; on one that is
/// too low for all rows, those around the selected one are shown.
Drawing DrawMonitor(const MonitorSnapshot& snapshot, Console::Size size);

}  // namespace tarn::tool
