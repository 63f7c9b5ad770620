#include "tools/tarnscale/live_table.hpp"

#include <algorithm>
#include <utility>

namespace tarn::tool {

LiveTable::LiveTable(std::string title, WallClock clock)
    : title_(std::move(title)), clock_(std::move(clock)) {}

std::string LiveTable::Stamped(std::string_view text) const {
  constexpr std::size_t kTimeOfDay = 11;
  return LocalText(clock_()).substr(kTimeOfDay, 8) + "  " + std::string(text);
}

void LiveTable::Note(std::string_view text) {
  constexpr std::size_t kKeptEvents = 200;
  events_.push_back(Stamped(text));
  if (eventsBack_ > 0) ++eventsBack_;  // what the user reads stays where it is
  if (events_.size() > kKeptEvents) events_.pop_front();
  eventsBack_ = std::min(eventsBack_, events_.size() - 1);
}

void LiveTable::NotePassing(int scale, std::string_view text) {
  std::erase_if(passing_, [scale](const Passing& line) { return line.scale == scale; });
  passing_.push_back({scale, Stamped(text)});
}

bool LiveTable::HandleCommonKey(Console::Key key, char character) {
  if (std::exchange(help_, false)) return true;
  help_ = character == '?';
  if (character == '[' && eventsBack_ + 1 < events_.size()) ++eventsBack_;
  if (character == ']' && eventsBack_ > 0) --eventsBack_;
  MoveSelection(key, character);
  const bool isScrolling = character == '[' || character == ']';
  if (key == Console::Key::Character && !isScrolling) eventsBack_ = 0;  // its answer is the newest
  return help_ || isScrolling || key != Console::Key::Character;
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

void LiveTable::Complete(MonitorSnapshot& snapshot) const {
  snapshot.title = title_;
  snapshot.selected = selected_;
  snapshot.events.assign(events_.begin(), events_.end());
  snapshot.eventsBack = eventsBack_;
  for (const Passing& line : passing_) snapshot.passing.push_back(line.text);
  if (help_) snapshot.help = Help();
}

void RateMeter::Measure(double milliseconds) {
  perSecond_ = static_cast<double>(std::exchange(counted_, 0)) * 1000 / milliseconds;
}

}  // namespace tarn::tool
