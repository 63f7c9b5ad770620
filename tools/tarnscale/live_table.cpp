#include "tools/tarnscale/live_table.hpp"

#include <algorithm>
#include <utility>

namespace tarn::tool {

LiveTable::LiveTable(std::string title, WallClock clock)
    : title_(std::move(title)), clock_(std::move(clock)) {}

void LiveTable::Note(std::string_view text) {
  constexpr std::size_t kKeptEvents = 200;
  constexpr std::size_t kTimeOfDay = 11;
  events_.push_back(LocalText(clock_()).substr(kTimeOfDay, 8) + "  " + std::string(text));
  if (events_.size() > kKeptEvents) events_.pop_front();
}

void LiveTable::MoveSelection(Console::Key key, char character) {
  using Key = Console::Key;
  constexpr int kPage = 10;
  const int last = static_cast<int>(RowCount()) - 1;
  int rows = 0;
  if (key == Key::Up || character == 'k') rows = -1;
  if (key == Key::Down || character == 'j') rows = 1;
  if (key == Key::PageUp) rows = -kPage;
  if (key == Key::PageDown) rows = kPage;
  if (key == Key::Home) rows = -last;
  if (key == Key::End) rows = last;
  if (last < 0) return;
  selected_ = static_cast<std::size_t>(std::clamp(static_cast<int>(selected_) + rows, 0, last));
}

MonitorSnapshot LiveTable::SnapshotWithoutRows() const {
  MonitorSnapshot snapshot;
  snapshot.title = title_;
  snapshot.selected = selected_;
  snapshot.events.assign(events_.begin(), events_.end());
  return snapshot;
}

void RateMeter::Measure(double milliseconds) {
  perSecond_ = static_cast<double>(std::exchange(counted_, 0)) * 1000 / milliseconds;
}

}  // namespace tarn::tool
