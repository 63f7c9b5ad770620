// What a live screen shows, and what is common to all of its tables: a selected row, a list of
// events, and how often something arrives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "platform/console.hpp"
#include "tools/tarnscale/monitor_view.hpp"
#include "tools/tarnscale/scale_event.hpp"

namespace tarn::tool {

class LiveTable {
 public:
  LiveTable(std::string title, WallClock clock);
  LiveTable(const LiveTable&) = delete;
  LiveTable& operator=(const LiveTable&) = delete;
  virtual ~LiveTable() = default;

  virtual MonitorSnapshot Snapshot() = 0;
  /// Returns false when the key asks for the end.
  virtual bool HandleKey(Console::Key key, char character) = 0;
  virtual std::size_t RowCount() const = 0;
  /// Adds a line to the events, with the time of day in front. The oldest of 200 lines goes.
  void Note(std::string_view text);

 protected:
  static constexpr char kControlC = '\x03';  ///< ends every table

  std::size_t Selected() const { return selected_; }
  /// Moves the selection when the key is one of those that do: arrows, pages, j, k.
  void MoveSelection(Console::Key key, char character);
  /// The title, the selection and the events, without rows.
  MonitorSnapshot SnapshotWithoutRows() const;
  WallTime Now() const { return clock_(); }

 private:
  std::string title_;
  WallClock clock_;
  std::size_t selected_ = 0;
  std::deque<std::string> events_;
};

/// How many messages a second arrive. Each measurement covers at least one second.
class RateMeter {
 public:
  static constexpr double kMeasuringTime = 1000;  // milliseconds

  void Count() { ++counted_; }
  /// Ends a measurement that took so many milliseconds and begins the next one.
  void Measure(double milliseconds);
  double PerSecond() const { return perSecond_; }

 private:
  std::uint64_t counted_ = 0;
  double perSecond_ = 0;
};

}  // namespace tarn::tool
