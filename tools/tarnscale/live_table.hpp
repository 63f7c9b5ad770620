// What a live screen shows, and what is common to all of its tables: a selected row, a list of
// events, and how often something arrives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "outlets/scale_event.hpp"
#include "platform/console.hpp"
#include "tools/tarnscale/monitor_view.hpp"

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
  /// Adds a line to the events, with the time of day in front: what a key did, or a fault. The
  /// oldest of 200 lines goes.
  void Note(std::string_view text);
  /// Shows a line about a scale that the next one of the same scale replaces: what comes by itself
  /// again and again. Such lines never push one of Note away.
  void NotePassing(int scale, std::string_view text);

 protected:
  static constexpr char kControlC = '\x03';  ///< ends every table

  std::size_t Selected() const { return selected_; }
  /// Moves the selection, the events, or shows and ends the help, when the key is one of those that
  /// do: arrows, pages, j, k, [, ], ?. Returns true for a key that has done its work with that.
  bool HandleCommonKey(Console::Key key, char character);
  /// The keys of this table, a line each.
  virtual std::vector<std::string> Help() const = 0;
  /// All of the rows' surroundings; the rows are there already.
  void Complete(MonitorSnapshot& snapshot) const;
  WallTime Now() const { return clock_(); }

 private:
  struct Passing {
    int scale;
    std::string text;
  };

  void MoveSelection(Console::Key key, char character);
  std::string Stamped(std::string_view text) const;

  std::string title_;
  WallClock clock_;
  std::size_t selected_ = 0;
  std::deque<std::string> events_;
  std::deque<Passing> passing_;  ///< the newest last, one for each scale
  std::size_t eventsBack_ = 0;   ///< how many of the newest events are scrolled away
  bool help_ = false;
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
